// Calls that wait for descriptors.
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>

#include <ctime>

#include "calls.hpp"
#include "edge_wait.hpp"

using namespace ostdrv::sim;

namespace {

timespec time_of(const timeval &time) { return {time.tv_sec, time.tv_usec * 1000}; }

}  // namespace

extern "C" {

int poll(struct pollfd *watches, nfds_t count, int timeout) {
    Call call(kind, "poll", "%lu, %d", static_cast<unsigned long>(count), timeout);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return poll_edges(watches, count, Timeout(timeout), nullptr);
}
int __poll_chk(struct pollfd *watches, nfds_t count, int timeout, size_t) { return poll(watches, count, timeout); }

int ppoll(struct pollfd *watches, nfds_t count, const struct timespec *timeout, const sigset_t *mask) {
    return poll_edges(watches, count, timeout, mask);
}

int __ppoll_chk(struct pollfd *watches, nfds_t count, const struct timespec *timeout, const sigset_t *mask, size_t) {
    return ppoll(watches, count, timeout, mask);
}

int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, struct timeval *timeout) {
    const Caller caller;
    const timespec length = timeout ? time_of(*timeout) : timespec{};
    timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    const auto result = select_edges(count, readable, writable, exceptional, timeout ? &length : nullptr, nullptr);
    if (!result) return OSTDRV_REAL(select)(count, readable, writable, exceptional, timeout);
    if (!timeout) return *result;
    // Linux leaves there what is left of it.
    clock_gettime(CLOCK_MONOTONIC, &end);
    const long rest =
        (length.tv_sec - end.tv_sec + start.tv_sec) * 1000000 + (length.tv_nsec - end.tv_nsec + start.tv_nsec) / 1000;
    *timeout = rest > 0 ? timeval{rest / 1000000, rest % 1000000} : timeval{};
    return *result;
}

int pselect(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, const struct timespec *timeout,
            const sigset_t *mask) {
    const Caller caller;
    const auto result = select_edges(count, readable, writable, exceptional, timeout, mask);
    return result ? *result : OSTDRV_REAL(pselect)(count, readable, writable, exceptional, timeout, mask);
}

int epoll_ctl(int set, int operation, int descriptor, struct epoll_event *event) noexcept {
    const Caller caller;
    const auto result = control_edges(set, operation, descriptor, event);
    return result ? *result : OSTDRV_REAL(epoll_ctl)(set, operation, descriptor, event);
}

int epoll_pwait2(int set, struct epoll_event *events, int room, const struct timespec *timeout, const sigset_t *mask) {
    const Caller caller;
    const auto result = epoll_edges(set, events, room, timeout, mask);
    return result ? *result : OSTDRV_REAL(epoll_pwait2)(set, events, room, timeout, mask);
}

int epoll_pwait(int set, struct epoll_event *events, int room, int timeout, const sigset_t *mask) {
    const Caller caller;
    const auto result = epoll_edges(set, events, room, Timeout(timeout), mask);
    return result ? *result : OSTDRV_REAL(epoll_pwait)(set, events, room, timeout, mask);
}

int epoll_wait(int set, struct epoll_event *events, int room, int timeout) {
    return epoll_pwait(set, events, room, timeout, nullptr);
}

}  // extern "C"
