// The process's session with the chip, which atcab_init opens.
#ifndef OSTDRV_SIM_ATECC_SESSION_HPP
#define OSTDRV_SIM_ATECC_SESSION_HPP

#include <functional>

#include "chip.hpp"
#include "core/c_border.hpp"

namespace ostdrv::sim::atecc {

inline constexpr auto kind = CallKind::platform;

// Carries out a command on the board's chip and keeps what it changed, whatever its status.
ATCA_STATUS with_chip(const std::function<ATCA_STATUS(Chip &)> &command);

// The session's interface, or nothing without a session.
std::optional<ATCAIfaceType> session_interface();

// The body of most functions: the fault plan, then the session, then the arguments, then the chip.
template <typename Command>
ATCA_STATUS answer(const Call &call, bool arguments_good, Command command) {
    return answered<ATCA_STATUS>(call, ATCA_COMM_FAIL, [&] {
        return with_chip([&](Chip &chip) { return arguments_good ? command(chip) : ATCA_BAD_PARAM; });
    });
}

}  // namespace ostdrv::sim::atecc

#endif
