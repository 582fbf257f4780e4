#include "repeat.hpp"

#include <chrono>
#include <iostream>
#include <limits>
#include <thread>

namespace ostdrv::tool {

void add_repeat(CLI::App &command, Repeat &repeat) {
    constexpr int most = std::numeric_limits<int>::max();
    CLI::Option *const watch = add_number(command, "-w,--watch", repeat.interval_ms,
                                          "Print again after so many milliseconds, and so on", 1, most);
    add_number(command, "-n,--count", repeat.count, "So many times instead of until interrupted", 1, most)
        ->needs(watch);
}

void repeatedly(const Repeat &repeat, const std::function<void()> &work) {
    for (int done = 1;; ++done) {
        work();
        std::cout.flush();
        if (repeat.interval_ms == 0 || done == repeat.count) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(repeat.interval_ms));
    }
}

}  // namespace ostdrv::tool
