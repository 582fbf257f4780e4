// A Trust X that is known to be fitted, and what a call may not leave behind there.
#ifndef OSTDRV_TESTS_CERTIFICATES_TRUSTX_WORLD_HPP
#define OSTDRV_TESTS_CERTIFICATES_TRUSTX_WORLD_HPP

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

namespace ostdrv::test {

class TrustxWorld : public Trustx {
 protected:
    void SetUp() override {
        Trustx::SetUp();
        int type = 0;
        tpm_get_chip_type(&type);  // detection is over before calls are counted
    }

    // Makes each call of an action fail in turn and hands the status and the failed call's name to `check`. The file
    // "out" is not there when the action starts.
    template <typename Action, typename Check>
    void fail_each_call(const Action &action, const Check &check) {
        action();
        const std::size_t calls = calls_of(action).size();
        const Remains before = remains();
        for (std::size_t nth = 1; nth <= calls; ++nth) {
            std::filesystem::remove(path("out"));
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
