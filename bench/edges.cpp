// Waiting for an edge beside a bare loop that waits for the same edge of the same simulated line.
#include <unistd.h>

#include <array>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <utility>

#include "bare_calls.hpp"
#include "benches.hpp"
#include "core/fault_plan.hpp"
#include "gpio_class.hpp"
#include "ostdrv.h"

namespace ostdrv::bench {
namespace {

constexpr int first_of_16 = 8;
constexpr int timeout = 5000;

bool sleeps(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string state{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::size_t name_end = state.rfind(')');
    return name_end != std::string::npos && state.compare(name_end, 3, ") S") == 0;
}

double processor_time() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The processor's time for a wait that an edge ends, without the sleep. The edge comes when the waiting thread has gone
// to sleep.
double wake_up(int driven, const std::function<bool()> &wait) {
    static std::array<bool, 32> levels{};
    const bool level = levels.at(static_cast<std::size_t>(driven)) ^= true;
    std::thread driver([driven, level, waiter = gettid()] {
        const sim::Unseen unseen;
        while (!sleeps(waiter)) std::this_thread::yield();
        sim::drive_line(driven, level);
    });
    const double start = processor_time();
    const bool woken = wait();
    const double spent = processor_time() - start;
    driver.join();
    must(woken, "waking up after the edge");
    return spent;
}

void compare(const Table &table, const char *name, int driven, const std::function<bool()> &library,
             const std::function<bool()> &bare) {
    wake_up(driven, library);  // exports the line
    const std::size_t calls = same_calls([&] { wake_up(driven, library); }, [&] { wake_up(driven, bare); });
    table.compare({.name = name,
                   .unit = "of the bare loop's time",
                   .library = [driven, library] { return wake_up(driven, library); },
                   .bare = [driven, bare] { return wake_up(driven, bare); },
                   .turns = 200,
                   .remark = std::to_string(calls) + " calls, the same on both sides"});
}

}  // namespace

void compare_edge_waits(const Table &table) {
    compare(
        table, "x_gpio_util_poll, simulated edge", line,
        [] {
            int level = 0;
            return x_gpio_util_poll(line, X_GPIO_EDGE_BOTH, timeout, &level) == 0;
        },
        [] { return wait_for_edge(timeout); });

    // The line that is driven among others that stay quiet.
    static x_gpio_poll_entry entries[16];
    for (int i = 0; i < 16; ++i) entries[i] = {.gpio = first_of_16 + i, .edge = 2, .value = 0, .fired = 0, .fd = -1};
    must(x_gpio_util_poll_multiple_setup(entries, 16) == 0, "setting 16 lines up");
    compare(
        table, "x_gpio_util_poll_multiple, simulated edge", first_of_16,
        [] { return x_gpio_util_poll_multiple(entries, 16, timeout) == 0 && std::exchange(entries[0].fired, 0) == 1; },
        [] { return wait_for_edge(entries, 16, timeout); });
}

}  // namespace ostdrv::bench
