#include "edge_poll.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <vector>

#include "device_paths.hpp"
#include "gpio_class.hpp"
#include "real.hpp"

namespace ostdrv::sim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr short always_ready = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;

// Descriptors beyond the table count as never read.
std::array<std::atomic<unsigned>, 4096> events_read;

bool in_table(int descriptor) { return descriptor >= 0 && static_cast<std::size_t>(descriptor) < events_read.size(); }

std::optional<LineAttribute> value_attribute(int descriptor) {
    const std::string path = device_path_of(descriptor);
    if (path.empty()) return std::nullopt;
    auto attribute = line_attribute(path);
    return attribute && attribute->name == "value" ? attribute : std::nullopt;
}

class EdgeWait {
 public:
    EdgeWait(pollfd *watches, nfds_t count) : watches_(watches), others_(watches, watches + count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (watches[i].fd < 0) continue;
            const auto attribute = value_attribute(watches[i].fd);
            if (!attribute) continue;
            lines_.push_back({i, *attribute});
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

    int run(int timeout) {
        // Watched before they are looked at, so that no edge falls between.
        if (timeout != 0 && !watch_lines()) return -1;
        const auto end = Clock::now() + std::chrono::milliseconds(timeout);
        for (;;) {
            const int fired = report_lines();
            const int ready = OSTDRV_REAL(poll)(others_.data(), others_.size(),
                                                fired         ? 0
                                                : timeout < 0 ? -1
                                                              : left(end));
            if (ready < 0) return -1;
            const bool changed = changes().revents != 0;
            if (changed) forget_changes();
            const int reported = fired + ready - (changed ? 1 : 0);
            if (reported > 0 || !changed) return report_others(reported);
        }
    }

 private:
    struct WatchedLine {
        std::size_t index;
        LineAttribute attribute;
    };
    pollfd *watches_;
    std::vector<pollfd> others_;  // the watches without the lines, and behind them the changes of lines
    std::vector<WatchedLine> lines_;

    pollfd &changes() { return others_.back(); }

    bool watch_lines() {
        changes().fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        if (changes().fd < 0) return false;
        for (const WatchedLine &watched : lines_) {
            const int line = watched.attribute.line;
            const auto file = line_state_file(line);
            if (!std::filesystem::exists(file)) LineState::load(line).save(line);
            if (inotify_add_watch(changes().fd, file.c_str(), IN_MODIFY) < 0) return false;
        }
        return true;
    }
    void forget_changes() {
        char events[4096];
        while (OSTDRV_REAL(read)(changes().fd, events, sizeof events) > 0) {
        }
    }

    static bool has_event(int descriptor, const LineAttribute &attribute) {
        if (attribute.gone || !in_table(descriptor)) return true;
        return events_read[static_cast<std::size_t>(descriptor)] != LineState::load(attribute.line).events;
    }
    int report_lines() const {
        int fired = 0;
        for (const WatchedLine &watched : lines_) {
            pollfd &watch = watches_[watched.index];
            const short asked = static_cast<short>(watch.events & always_ready);
            const short event = static_cast<short>((watch.events & POLLPRI) | POLLERR);
            watch.revents = static_cast<short>(asked | (has_event(watch.fd, watched.attribute) ? event : 0));
            if (watch.revents) ++fired;
        }
        return fired;
    }
    int report_others(int reported) const {
        for (std::size_t i = 0; i + 1 < others_.size(); ++i)
            if (others_[i].fd >= 0 || watches_[i].fd < 0) watches_[i].revents = others_[i].revents;
        return reported;
    }
    static int left(Clock::time_point end) {
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        return milliseconds > 0 ? static_cast<int>(milliseconds) : 0;
    }
};

}  // namespace

void forget_reads(int descriptor) {
    if (in_table(descriptor)) events_read[static_cast<std::size_t>(descriptor)] = 0;
}

bool admit_read(int descriptor) {
    const int kept_errno = errno;
    const auto attribute = value_attribute(descriptor);
    if (attribute && attribute->gone) {
        errno = ENODEV;
        return false;
    }
    // The count comes before the value: an edge between the two is reported once more rather than lost.
    if (attribute && in_table(descriptor) && lseek(descriptor, 0, SEEK_CUR) == 0)
        events_read[static_cast<std::size_t>(descriptor)] = LineState::load(attribute->line).events;
    errno = kept_errno;
    return true;
}

int poll_edges(struct pollfd *watches, nfds_t count, int timeout) {
    EdgeWait wait(watches, count);
    return wait.has_lines() ? wait.run(timeout) : OSTDRV_REAL(poll)(watches, count, timeout);
}

}  // namespace ostdrv::sim
