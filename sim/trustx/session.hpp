// The sessions of this process with the chip, and what its functions return.
#ifndef OSTDRV_SIM_TRUSTX_SESSION_HPP
#define OSTDRV_SIM_TRUSTX_SESSION_HPP

#include "core/c_border.hpp"
#include "state.hpp"

namespace ostdrv::sim::trustx {

inline constexpr auto kind = CallKind::platform;

// False when the board has no Trust X.
bool open_session();
// False when there is none.
bool close_session();
// Sessions that this process has opened and not closed.
int open_sessions();

// The body of most functions: what the action says, as the functions' 0 or -1.
template <typename Action>
int answer(const Call &call, Action action) {
    return answered<int>(call, -1, [&] { return action() ? 0 : -1; });
}

// The same for what only a session may do with an object of the chip. An action that takes an `Object &` changes it;
// nothing changes when it says no.
template <typename Action>
int with_object(const Call &call, std::uint16_t id, Action action) {
    return answer(call, [&] {
        const StateLock lock;
        auto state = open_sessions() > 0 && lock.held() ? State::load() : std::nullopt;
        Object *const object = state ? state->find(id) : nullptr;
        constexpr bool only_looks = std::is_invocable_v<Action, const Object &>;
        return object && action(*object) && (only_looks || state->save());
    });
}

}  // namespace ostdrv::sim::trustx

#endif
