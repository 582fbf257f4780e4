#include <cerrno>
#include <vector>

#include "device_paths.hpp"
#include "edge_wait.hpp"
#include "gpio_class.hpp"

namespace ostdrv::sim {
namespace {

// A set of descriptors, and what poll calls that which it asks for and is told.
struct Set {
    fd_set *descriptors;
    short asks, told;

    bool has(int descriptor) const { return descriptors && FD_ISSET(descriptor, descriptors); }
};

}  // namespace

std::optional<int> select_edges(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                                const timespec *timeout, const sigset_t *mask) {
    const Set sets[] = {
        {readable, POLLIN | POLLRDNORM | POLLRDBAND, POLLIN | POLLRDNORM | POLLRDBAND | POLLHUP | POLLERR},
        {writable, POLLOUT | POLLWRNORM | POLLWRBAND, POLLOUT | POLLWRNORM | POLLWRBAND | POLLERR},
        {exceptional, POLLPRI, POLLPRI}};
    std::vector<pollfd> watches;
    bool has_lines = false;
    for (int descriptor = 0; descriptor < count && descriptor < FD_SETSIZE; ++descriptor) {
        int asked = 0;
        for (const Set &set : sets) asked |= set.has(descriptor) ? set.asks : 0;
        if (!asked) continue;
        watches.push_back({descriptor, static_cast<short>(asked), 0});
        has_lines = has_lines || edges_of(device_path_of(descriptor));
    }
    if (!has_lines) return std::nullopt;

    if (poll_edges(watches.data(), watches.size(), timeout, mask) < 0) return -1;
    int ready = 0;
    for (const pollfd &watch : watches) {
        if (watch.revents & POLLNVAL) {
            errno = EBADF;
            return -1;
        }
        for (const Set &set : sets) {
            if (!set.has(watch.fd)) continue;
            if (watch.revents & set.told)
                ++ready;
            else
                FD_CLR(watch.fd, set.descriptors);
        }
    }
    return ready;
}

}  // namespace ostdrv::sim
