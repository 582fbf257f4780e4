// Everything that reads an attribute file or a device-tree property. The input is the content of all of them.
#include <cerrno>
#include <cmath>
#include <cstring>

#include "world.hpp"

using namespace ostdrv::fuzz;

namespace {

constexpr int channel = 3, line = 3;
constexpr const char *light = "panel";
constexpr const char *attribute = "/sys/class/thermal/thermal_zone0/temp";

class Board : public World {
 public:
    Board() : World({.chip = "atecc608a"}) {
        board.put("/mnt/settings/atecc", "");
        int direction = 0;
        expect(x_gpio_util_get_direction(line, &direction) == 0, "the line can be exported");
        put("content", {});
        for (const char *path :
             {attribute, "/var/tmp/adc/in_voltage3_raw", "/sys/class/backlight/panel/brightness",
              "/sys/class/gpio/gpio3/direction", "/sys/class/gpio/gpio3/value", "/sys/class/gpio/gpio3/edge",
              "/sys/class/gpio/gpio3/active_low", "/proc/device-tree/tpm-i2c-bus", "/proc/device-tree/tpm-i2c-address",
              "/proc/device-tree/tpm-use-usb"}) {
            board.remove(path);
            std::filesystem::create_hard_link(this->path("content"), board.file(path));
        }
    }
};

void check_numbers(ByteView content) {
    const std::string text(as_text(content.first(std::min<std::size_t>(content.size(), 16))));
    int value = 12345;
    errno = 0;
    expect(x_sysfs_read_int(attribute, &value) == 0, "an attribute can be read");
    const int number = content.empty() ? 12345 : static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
    expect(value == number, "a number is what the first 16 bytes begin with");

    float celsius = NAN;
    errno = 0;
    expect(ntc_sysfs_temp_read(attribute, &celsius) == 0, "a temperature can be read");
    expect(celsius == static_cast<float>(content.empty() ? 0 : number) / 1000.0f, "a temperature is in millidegrees");
}

void check_bytes(ByteView content) {
    unsigned int size = 0;
    expect(x_sysfs_size(attribute, &size) == 0 && size == content.size(), "the size is the file's");
    for (const unsigned int offset : {0u, 1u, size / 2, size}) {
        const ByteView rest = content.subspan(std::min<std::size_t>(offset, size));
        for (const std::size_t length : {std::size_t{1}, rest.size(), rest.size() + 1}) {
            Output out(length, 0);
            const int status = x_sysfs_read_bytes(attribute, out.data(), offset, static_cast<unsigned int>(length));
            const std::size_t given = std::min(length, rest.size());
            const bool at_border = given < length && given % 4096 == 0;
            expect(status == (at_border ? -1 : 0), "bytes are read unless the file ends where a chunk does");
            std::string expected(as_text(rest.first(given)));
            // What ends early is a text, whose last newline is dropped.
            const std::size_t characters = std::min(expected.find('\0'), given);
            if (status == 0 && given < length && characters > 0 && expected[characters - 1] == '\n')
                expected[characters - 1] = '\0';
            expect(as_text(out.first(given)) == expected, "the bytes are the file's");
            expect(out.is_untouched(given), "nothing is written beyond them");
        }
    }
}

void check_words(ByteView content) {
    constexpr std::size_t limit = 256;
    std::string_view text = as_text(content.first(std::min(content.size(), limit)));
    text = text.substr(0, text.find('\0'));
    if (content.size() < limit && text.ends_with('\n')) text.remove_suffix(1);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const std::string first(text.substr(0, text.find(' ')));
    const int found = x_sysfs_contains(attribute, first.c_str());
    expect(found == (content.empty() ? -1 : first.empty() ? 0 : 1), "the first word is found");
}

void check_analog() {
    float celsius = -1000;
    const bool read = ntc_temp_read(channel, 10000, 3950, 10000, 4096, &celsius) == 0;
    expect(read || celsius == -1000, "a failed sample leaves the temperature alone");
    expect(read || adc_read_impl(channel) == -1, "a channel that gives no sample gives -1");
}

void check_light() {
    const int descriptor = pwm_proc_open(light);
    unsigned int raw = 77, percent = 77;
    const int status = pwm_proc_read(descriptor, &raw);
    expect(pwm_proc_close(descriptor) == 0, "the light can be closed");
    expect(x_pwm_read_cycle(light, &percent) == status, "both ways to read a light agree");
    if (status == 0) expect(percent == std::lround(raw * 100.0 / 255.0), "a light's percentage is that of its value");
}

void check_line(ByteView content) {
    int direction = -7, value = -7, edge = -7, active_low = -7;
    const int expected = content.empty() ? -1 : 0;
    expect(x_gpio_util_get_direction(line, &direction) == expected, "the direction is read");
    expect(x_gpio_util_get(line, &value) == expected, "the value is read");
    expect(x_gpio_util_get_edge(line, &edge) == expected, "the edge is read");
    expect(x_gpio_util_get_active_low(line, &active_low) == expected, "the polarity is read");
    if (content.empty()) {
        expect(direction == -7 && value == -7 && edge == -7 && active_low == -7, "a failure stores nothing");
        return;
    }
    expect(direction == 0 || direction == 1, "a direction is in or out");
    expect(value == 0 || value == 1, "a value is 0 or 1");
    expect(edge >= 0 && edge <= 3, "an edge has a code");
    expect(active_low >= 0 && active_low <= 9, "a polarity is a digit");
}

// Whether a chip is found depends on where the properties say that it is.
void check_properties(ByteView content) {
    const int status = tpm_init_device();
    expect(status == 0 || status == 1, "the chip is found or not");
    if (g_atca_iface_cfg != &tpm_iface_config_i2c) return;
    const bool whole = content.size() >= 4;
    expect(tpm_iface_config_i2c.atcai2c.bus == (whole ? content[3] : 2), "the bus is the property's");
    expect(tpm_iface_config_i2c.atcai2c.slave_address == (whole ? (content[3] & 127) * 2 : 0xC0),
           "and so is the address");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Board board;
    const NothingLeftOpen nothing_left_open;
    const ByteView content(data, size);
    board.put("content", content);
    check_numbers(content);
    check_bytes(content);
    check_words(content);
    check_analog();
    check_light();
    check_line(content);
    check_properties(content);
    return 0;
}
