#include "edge_wait.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <vector>

#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "gpio_class.hpp"
#include "open_files.hpp"
#include "real.hpp"

namespace ostdrv::sim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr short always_ready = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;

class EdgeWait {
 public:
    EdgeWait(pollfd *watches, nfds_t count, const unsigned *reported)
        : watches_(watches), others_(watches, watches + count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (watches[i].fd < 0) continue;
            const auto line = edges_of(device_path_of(watches[i].fd));
            if (!line) continue;
            lines_.push_back({i, *line, reported ? reported[i] : 0});
            others_[i].fd = -1;
        }
        others_.push_back({-1, POLLIN, 0});
    }
    ~EdgeWait() {
        if (changes().fd >= 0) OSTDRV_REAL(close)(changes().fd);
    }
    EdgeWait(const EdgeWait &) = delete;
    EdgeWait &operator=(const EdgeWait &) = delete;

    bool has_lines() const { return !lines_.empty(); }

    int run(const timespec *timeout, const sigset_t *mask) {
        const bool waits = !timeout || timeout->tv_sec != 0 || timeout->tv_nsec != 0;
        // Watched before they are looked at, so that no edge falls between.
        if (waits && !watch_lines()) return -1;
        const auto end = Clock::now() + (timeout ? length(*timeout) : Clock::duration());
        for (bool over = !waits;;) {
            const int fired = report_lines();
            const timespec rest = fired || over ? timespec{} : left(end);
            const int ready =
                OSTDRV_REAL(ppoll)(others_.data(), others_.size(), fired || over || timeout ? &rest : nullptr, mask);
            if (ready < 0) return -1;
            const bool changed = changes().revents != 0;
            if (changed) forget_changes();
            const int reported = fired + ready - (changed ? 1 : 0);
            if (reported > 0 || over) return report_others(reported);
            over = !changed;
        }
    }

 private:
    struct WatchedLine {
        std::size_t index;
        int line;
        unsigned reported;
    };
    pollfd *watches_;
    std::vector<pollfd> others_;  // the watches without the lines, and behind them the changes of lines
    std::vector<WatchedLine> lines_;

    pollfd &changes() { return others_.back(); }

    bool watch_lines() {
        changes().fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        if (changes().fd < 0) return false;
        for (const WatchedLine &watched : lines_) {
            const auto file = line_state_file(watched.line);
            if (!path_exists(file)) LineState::load(watched.line).save(watched.line);
            if (inotify_add_watch(changes().fd, file.c_str(), IN_MODIFY) < 0) return false;
        }
        return true;
    }
    void forget_changes() {
        char events[4096];
        while (OSTDRV_REAL(read)(changes().fd, events, sizeof events) > 0) {
        }
    }

    static bool has_event(int descriptor, const WatchedLine &watched) {
        if (device_path_of(descriptor).ends_with(')')) return true;  // unexported
        const unsigned events = LineState::load(watched.line).events;
        return open_file(descriptor).events_read != events && watched.reported != events;
    }
    int report_lines() const {
        int fired = 0;
        for (const WatchedLine &watched : lines_) {
            pollfd &watch = watches_[watched.index];
            const short asked = static_cast<short>(watch.events & always_ready);
            const short event = static_cast<short>((watch.events & POLLPRI) | POLLERR);
            watch.revents = static_cast<short>(asked | (has_event(watch.fd, watched) ? event : 0));
            if (watch.revents) ++fired;
        }
        return fired;
    }
    int report_others(int reported) const {
        for (std::size_t i = 0; i + 1 < others_.size(); ++i)
            if (others_[i].fd >= 0 || watches_[i].fd < 0) watches_[i].revents = others_[i].revents;
        return reported;
    }
    static Clock::duration length(const timespec &time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
    static timespec left(Clock::time_point end) {
        const auto rest = std::max(Clock::duration(), end - Clock::now());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(rest);
        return {seconds.count(), std::chrono::nanoseconds(rest - seconds).count()};
    }
};

}  // namespace

int poll_edges(pollfd *watches, nfds_t count, const timespec *timeout, const sigset_t *mask, const unsigned *reported) {
    const Unseen unseen;
    EdgeWait wait(watches, count, reported);
    return wait.has_lines() ? wait.run(timeout, mask) : OSTDRV_REAL(ppoll)(watches, count, timeout, mask);
}

}  // namespace ostdrv::sim
