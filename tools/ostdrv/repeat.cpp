#include "repeat.hpp"

#include <unistd.h>

#include <limits>

namespace ostdrv::tool {

void add_repeat(Command &command, Repeat &repeat) {
    constexpr int most = std::numeric_limits<int>::max() / 1000;
    const Option &watch = command.add_number("-w,--watch", repeat.interval_ms,
                                             "Print again after so many milliseconds, and so on", 1, most);
    command.add_number("-n,--count", repeat.count, "So many times instead of until interrupted", 1).needs(watch);
}

void repeatedly(const Repeat &repeat, const std::function<void()> &work) {
    for (int done = 1;; ++done) {
        work();
        if (repeat.interval_ms == 0 || done == repeat.count) return;
        usleep(static_cast<useconds_t>(repeat.interval_ms) * 1000);
    }
}

}  // namespace ostdrv::tool
