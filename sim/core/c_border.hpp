// Where C++ ends: the functions of the stand-ins are called from C, which no exception may reach.
#ifndef OSTDRV_SIM_C_BORDER_HPP
#define OSTDRV_SIM_C_BORDER_HPP

#include <exception>
#include <type_traits>

#include "fault_plan.hpp"

namespace ostdrv::sim {

// What an action gives, unless the fault plan fails the call or the action throws, as for lack of memory.
template <typename Result, typename Action>
Result answered(const Call &call, std::type_identity_t<Result> failure, Action action) {
    if (call.fails()) {
        if constexpr (std::is_pointer_v<Result>)
            return failure;
        else
            return static_cast<Result>(call.result(static_cast<long>(failure)));
    }
    try {
        return action();
    } catch (const std::exception &) {
        return failure;
    }
}

}  // namespace ostdrv::sim

#endif
