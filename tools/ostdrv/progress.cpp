#include "progress.hpp"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace ostdrv::tool {
namespace {

using Clock = std::chrono::steady_clock;

void show(const std::stop_token &end, const std::string &what) {
    const auto start = Clock::now();
    std::mutex mutex;
    std::condition_variable_any ended;
    // Nobody else takes it: a condition that ends with the token is a wait that can be cut short.
    // cppcheck-suppress localMutex
    std::unique_lock lock(mutex);
    const auto waited = [&] {
        ended.wait_for(lock, end, std::chrono::milliseconds(500), [] { return false; });
        return !end.stop_requested();
    };
    bool shown = false;
    for (; waited(); shown = true) {
        const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
        std::fprintf(stderr, "\r%s ... %.1f s", what.c_str(), seconds);
    }
    if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace

Progress::Progress(const std::string &what) {
    if (isatty(STDERR_FILENO)) shower_ = std::jthread(show, what);
}

}  // namespace ostdrv::tool
