// What a board with a status LED brings: its own led_drive_set_value, in a library that is loaded before libostdrv and
// so takes the place of the weak one there. The LED's channels are the red, green and blue of the LED class.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>

extern "C" int led_drive_set_value(std::uint8_t colour, std::uint8_t percent) {
    constexpr std::array files{"/sys/class/leds/red/brightness", "/sys/class/leds/green/brightness",
                               "/sys/class/leds/blue/brightness"};
    if (colour >= files.size() || percent > 100) return -1;
    const int file = open(files[colour], O_WRONLY | O_CLOEXEC);
    if (file < 0) return -1;
    char text[8];
    const int length = std::snprintf(text, sizeof text, "%d", percent * 255 / 100);
    const bool whole = write(file, text, static_cast<std::size_t>(length)) == length;
    return close(file) == 0 && whole ? 0 : -1;
}
