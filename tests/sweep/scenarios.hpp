// Every function of the library in the states that matter, as the sweep of failing calls runs them.
#ifndef OSTDRV_TESTS_SWEEP_SCENARIOS_HPP
#define OSTDRV_TESTS_SWEEP_SCENARIOS_HPP

#include <array>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "certificates/authority.hpp"
#include "world.hpp"

namespace ostdrv::test {

enum class Fitted { blank_atecc, keyless_atecc, layout_1, layout_0, layout_0_usb, trustx };

// What a scenario works on: a chain with its files and the buffers that functions deliver into.
struct Stage {
    const World &world;
    // Names of a length that puts the signer's key where a Trust X verification looks for it.
    Authority root{"Sweep Certificate Authority"};
    Authority signer{"Sweep Intermediate Signer 1"};
    std::string signer_file, device_file, eeprom_file;
    std::array<std::uint8_t, 1100> output{};
    x_sensor_eeprom_payload *payload = nullptr;

    explicit Stage(const World &of) : world(of) {}
    ~Stage() { x_sensor_eeprom_payload_free(payload); }
    Stage(const Stage &) = delete;
    Stage &operator=(const Stage &) = delete;

    // The output as what a function delivers into it.
    template <typename Type>
    Type *out() {
        return reinterpret_cast<Type *>(output.data());
    }
};

struct Scenario {
    const char *name;
    Fitted fitted;
    std::function<int(Stage &)> run;
    std::set<int> failures;                // what it may return when a call in it failed
    bool output_kept = true;               // such a failure leaves the output as it was
    std::set<std::string> unchecked = {};  // calls whose failure it may survive, besides close and fclose
};

const std::vector<Scenario> &scenarios();

}  // namespace ostdrv::test

#endif
