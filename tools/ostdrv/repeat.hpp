// Commands that may be run again and again: --watch and --count.
#ifndef OSTDRV_TOOLS_REPEAT_HPP
#define OSTDRV_TOOLS_REPEAT_HPP

#include <functional>

#include "command.hpp"

namespace ostdrv::tool {

struct Repeat {
    int interval_ms = 0;  // 0: once
    int count = 0;        // 0: until interrupted
};

void add_repeat(Command &command, Repeat &repeat);

// Runs the work as often as asked.
void repeatedly(const Repeat &repeat, const std::function<void()> &work);

}  // namespace ostdrv::tool

#endif
