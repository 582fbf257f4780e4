// Waiting for edges, as the kernel notifies about a line's value attribute: each open descriptor remembers the number
// of events at its last read from the start; while it is another than the line's, poll reports POLLPRI and POLLERR. So
// a descriptor that was never read is reported at once. Only descriptors and poll know of this: streams do not clear
// an edge, and select and epoll do not see one.
#ifndef OSTDRV_SIM_EDGE_POLL_HPP
#define OSTDRV_SIM_EDGE_POLL_HPP

#include <poll.h>

namespace ostdrv::sim {

// A descriptor was opened or closed: it has read nothing.
void forget_reads(int descriptor);

// A read is about to be made. False with errno set when the line has been unexported meanwhile.
bool admit_read(int descriptor);

// poll over lines and any other descriptors.
int poll_edges(struct pollfd *watches, nfds_t count, int timeout);

}  // namespace ostdrv::sim

#endif
