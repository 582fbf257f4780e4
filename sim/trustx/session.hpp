// The sessions of this process with the chip, and what its functions return.
#ifndef OSTDRV_SIM_TRUSTX_SESSION_HPP
#define OSTDRV_SIM_TRUSTX_SESSION_HPP

#include "core/fault_plan.hpp"

namespace ostdrv::sim::trustx {

// False when the board has no Trust X.
bool open_session();
// False when there is none.
bool close_session();
bool in_session();

inline int outcome(const Call &call, bool done) {
    constexpr int failure = -1;
    return call.fails() ? static_cast<int>(call.result(failure)) : done ? 0 : failure;
}

}  // namespace ostdrv::sim::trustx

#endif
