// One colour of the status LED and how it is driven.
#ifndef OSTDRV_ANALOG_LED_CHANNEL_HPP
#define OSTDRV_ANALOG_LED_CHANNEL_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "support/stream.hpp"

namespace ostdrv {

struct LedChannel {
    const char *name;
    std::int32_t drive_kind;
    const char *path;
    std::int32_t reserved;
};

inline constexpr std::int32_t led_driven_by_file = 2;

// Writes the brightness on the scale 0 to 255, cut to a byte. A channel of another drive kind is refused untouched.
inline int drive_led_channel(const LedChannel &channel, std::uint8_t percent) {
    if (channel.drive_kind != led_driven_by_file) return -1;
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%d", percent * 255 / 100 % 256);
    return Stream(channel.path, "w").write_and_close(text, static_cast<std::size_t>(length)) ? 0 : -1;
}

}  // namespace ostdrv

#endif
