// Statuses of the secure-element and certificate functions.
#ifndef OSTDRV_TOOLS_STATUS_HPP
#define OSTDRV_TOOLS_STATUS_HPP

#include <string>

namespace ostdrv::tool {

const char *status_meaning(int status);

// Throws a Failure "cannot WHAT: MEANING (status N)" unless the status is 0.
void require(int status, const std::string &what);

}  // namespace ostdrv::tool

#endif
