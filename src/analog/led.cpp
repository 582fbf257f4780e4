#include <array>

#include "analog/led_channel.hpp"
#include "ostdrv.h"

namespace {

// Boards whose LED is wired to control files bring their own definition of the weak function below.
constexpr std::array<ostdrv::LedChannel, 3> channels{{
    {"RED", 1, "bogus_bus:pwm_red@0", 0},
    {"GREEN", 1, "bogus_bus:pwm_green@0", 0},
    {"BLUE", 1, "bogus_bus:pwm_blue@0", 0},
}};

}  // namespace

[[gnu::weak]] int led_drive_set_value(uint8_t colour, uint8_t percent) {
    return colour < channels.size() ? ostdrv::drive_led_channel(channels[colour], percent) : -1;
}
