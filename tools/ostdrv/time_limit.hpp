// Work that may never end: a driver whose bus is dead, a file that nobody writes to.
#ifndef OSTDRV_TOOLS_TIME_LIMIT_HPP
#define OSTDRV_TOOLS_TIME_LIMIT_HPP

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace ostdrv::tool {

// Does the work in a process of its own, without standard output and error, and gives back its text; nothing when the
// work did not end in time. That process is killed then, and not waited for: the kernel may not let it go.
std::optional<std::string> within(std::chrono::milliseconds limit, const std::function<std::string()> &work);

}  // namespace ostdrv::tool

#endif
