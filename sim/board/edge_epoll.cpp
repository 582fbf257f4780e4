// Lines in epoll's sets. The kernel takes no ordinary file into one, so the lines of a set are kept here, and a wait is
// for them and for the set with all the others.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <vector>

#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "edge_wait.hpp"
#include "gpio_class.hpp"
#include "real.hpp"

namespace ostdrv::sim {
namespace {

struct Member {
    int set, descriptor;
    epoll_event asked;
    unsigned reported;  // edge-triggered: the count of events that was told last

    bool waits() const { return (asked.events & ~(EPOLLET | EPOLLONESHOT)) != 0; }
    bool is_edge_triggered() const { return (asked.events & EPOLLET) != 0; }
};

// Never destroyed: descriptors are closed until the very end of the process.
struct Members {
    std::mutex mutex;
    std::vector<Member> all;
    std::atomic<bool> any = false;  // most processes never have one, and then no lock is taken
};
Members &members() {
    static Members &the_members = *new Members;
    return the_members;
}

std::vector<Member> members_of(int set) {
    if (!members().any) return {};
    const std::lock_guard lock(members().mutex);
    std::vector<Member> found;
    for (const Member &member : members().all)
        if (member.set == set) found.push_back(member);
    return found;
}

// Remembers what a member was told.
void told(const Member &member) {
    const auto line = edges_of(device_path_of(member.descriptor));
    const unsigned events = line ? LineState::load(*line).events : 0;
    const std::lock_guard lock(members().mutex);
    for (Member &one : members().all) {
        if (one.set != member.set || one.descriptor != member.descriptor) continue;
        if (one.asked.events & EPOLLONESHOT) one.asked.events &= EPOLLET | EPOLLONESHOT;
        one.reported = events;
    }
}

int refused(int error) {
    errno = error;
    return -1;
}

}  // namespace

std::optional<int> control_edges(int set, int operation, int descriptor, const epoll_event *event) {
    if (!edges_of(device_path_of(descriptor))) return std::nullopt;
    const Unseen unseen;
    Members &known = members();
    const std::lock_guard lock(known.mutex);
    const auto found = std::find_if(known.all.begin(), known.all.end(), [&](const Member &member) {
        return member.set == set && member.descriptor == descriptor;
    });
    const bool is_member = found != known.all.end();
    if (is_member == (operation == EPOLL_CTL_ADD)) return refused(is_member ? EEXIST : ENOENT);
    if (is_member) known.all.erase(found);
    if (operation != EPOLL_CTL_DEL) known.all.push_back({set, descriptor, *event, 0});
    known.any = !known.all.empty();
    return 0;
}

std::optional<int> epoll_edges(int set, epoll_event *events, int room, const timespec *timeout, const sigset_t *mask) {
    const Unseen unseen;
    const std::vector<Member> lines = members_of(set);
    if (lines.empty() || room <= 0) return std::nullopt;
    std::vector<pollfd> watches;
    std::vector<unsigned> reported;
    for (const Member &line : lines) {
        const short asked = static_cast<short>(line.asked.events);
        const short news = static_cast<short>(line.reported ? asked & POLLPRI : asked);
        watches.push_back({line.waits() ? line.descriptor : -1, line.is_edge_triggered() ? news : asked, 0});
        reported.push_back(line.is_edge_triggered() ? line.reported : 0);
    }
    watches.push_back({set, POLLIN, 0});
    reported.push_back(0);
    if (poll_edges(watches.data(), watches.size(), timeout, mask, reported.data()) < 0) return -1;

    int count = 0;
    for (std::size_t i = 0; i < lines.size() && count < room; ++i) {
        if (watches[i].fd < 0 || watches[i].revents == 0) continue;
        events[count].events = static_cast<unsigned>(watches[i].revents);
        events[count++].data = lines[i].asked.data;
        told(lines[i]);
    }
    const int others = count < room ? OSTDRV_REAL(epoll_wait)(set, events + count, room - count, 0) : 0;
    return others < 0 ? others : count + others;
}

void leave_epoll(int descriptor) {
    if (!members().any) return;
    const Unseen unseen;
    const std::lock_guard lock(members().mutex);
    std::erase_if(members().all,
                  [&](const Member &member) { return member.set == descriptor || member.descriptor == descriptor; });
    members().any = !members().all.empty();
}

}  // namespace ostdrv::sim
