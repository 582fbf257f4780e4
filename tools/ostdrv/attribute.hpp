// What attribute files hold, and why they cannot be had.
#ifndef OSTDRV_TOOLS_ATTRIBUTE_HPP
#define OSTDRV_TOOLS_ATTRIBUTE_HPP

#include <string>

namespace ostdrv::tool {

// All of it.
std::string read_attribute(const std::string &path);

// A Failure unless the attribute begins with a number that the library can take: it makes 0 of any other text.
void require_number(const std::string &path);

// "; is this the device? ..." when the directory that all such attributes are in is missing, else nothing.
std::string missing_hint(const std::string &directory);

}  // namespace ostdrv::tool

#endif
