// What attribute files hold, and why they cannot be had.
#ifndef OSTDRV_TOOLS_ATTRIBUTE_HPP
#define OSTDRV_TOOLS_ATTRIBUTE_HPP

#include <string>
#include <vector>

#include "words.hpp"

namespace ostdrv::tool {

// All of it.
std::string read_attribute(const std::string &path);

// A Failure unless the attribute begins with a number that the library can take: it makes 0 of any other text.
void require_number(const std::string &path);

// What a directory holds whose name begins and ends so, sorted; nothing when there is no such directory.
Words names_in(const std::string &directory, const std::string &start = "", const std::string &end = "");
// Those with just a number between start and end, as numbers.
std::vector<int> numbers_in(const std::string &directory, const std::string &start, const std::string &end = "");

// "; is this the device? ..." when the directory that all such attributes are in is missing, else nothing.
std::string missing_hint(const std::string &directory);

}  // namespace ostdrv::tool

#endif
