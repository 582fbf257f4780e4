// Waiting for edges, as the kernel notifies about a line's value: each open file remembers the number of events at its
// last read from the start; while it is another than the line's, a wait reports an exceptional condition. So a file
// that was never read is reported at once. A line that is unexported during a wait wakes nobody, and is reported at its
// end.
#ifndef OSTDRV_SIM_EDGE_WAIT_HPP
#define OSTDRV_SIM_EDGE_WAIT_HPP

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>

#include <optional>

namespace ostdrv::sim {

// ppoll over lines and any other descriptors. An event count of `reported`, which has as many elements or is null, is
// one that this wait is not for.
int poll_edges(pollfd *watches, nfds_t count, const timespec *timeout, const sigset_t *mask,
               const unsigned *reported = nullptr);

// pselect. Nothing where no line is among the descriptors.
std::optional<int> select_edges(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                                const timespec *timeout, const sigset_t *mask);

// epoll_ctl and epoll_pwait2. Nothing where no line takes part.
std::optional<int> control_edges(int set, int operation, int descriptor, const epoll_event *event);
std::optional<int> epoll_edges(int set, epoll_event *events, int room, const timespec *timeout, const sigset_t *mask);
// A descriptor was closed, and so left the sets that it was in.
void leave_epoll(int descriptor);

// Null where a timeout is below 0: for ever.
class Timeout {
 public:
    explicit Timeout(long milliseconds) : time_{milliseconds / 1000, milliseconds % 1000 * 1000000} {}
    operator const timespec *() const { return time_.tv_sec < 0 || time_.tv_nsec < 0 ? nullptr : &time_; }

 private:
    timespec time_;
};

}  // namespace ostdrv::sim

#endif
