// A board with a Trust X on it, and what a call may not leave behind there.
#ifndef OSTDRV_TESTS_CERTIFICATES_TRUSTX_WORLD_HPP
#define OSTDRV_TESTS_CERTIFICATES_TRUSTX_WORLD_HPP

#include "certificates/authority.hpp"
#include "trustx/chip_access.hpp"
#include "world.hpp"

namespace ostdrv::test {

class TrustxWorld : public World {
 public:
    TrustxWorld() {
        board.fit({.chip = "trustx"});
        board.put("/mnt/settings/trustx", "");
        int type = 0;
        tpm_get_chip_type(&type);  // detection is over before calls are counted
    }

    // Makes each call of an action fail in turn and hands the status and the failed call's name to `check`.
    template <typename Action, typename Check>
    void fail_each_call(const Action &action, const Check &check) {
        action();
        const std::size_t calls = calls_of(action).size();
        const Remains before = remains();
        for (std::size_t nth = 1; nth <= calls; ++nth) {
            const int status = with_fault(
                {.kinds = unsigned(sim::CallKind::system) | unsigned(sim::CallKind::platform), .nth = nth}, action);
            const std::string call = sim::fault_plan::log()[nth - 1];
            SCOPED_TRACE(call);
            check(status, call.substr(0, call.find('(')));
            EXPECT_EQ(sim::trustx::open_sessions(), 0);
            EXPECT_EQ(remains(), before);
        }
    }
};

}  // namespace ostdrv::test

#endif
