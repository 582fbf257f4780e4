// Everything that reads an attribute file or a device-tree property. The input is the content of all of them.
#include "world.hpp"

namespace ostdrv::fuzz {
namespace {

constexpr const char *attribute = "/sys/class/thermal/thermal_zone0/temp";

struct Attribute {
    int (*read)(int, int *);
    int highest;
};

}  // namespace

void fit(World &world) {
    world.board.fit({.chip = "atecc608a"});
    world.board.put("/mnt/settings/atecc", "");
    expect(x_gpio_util_export(3) == 0, "the line can be exported");
    world.put("content", {});
    for (const char *path :
         {attribute, "/var/tmp/adc/in_voltage3_raw", "/sys/class/backlight/panel/brightness",
          "/sys/class/gpio/gpio3/direction", "/sys/class/gpio/gpio3/value", "/sys/class/gpio/gpio3/edge",
          "/sys/class/gpio/gpio3/active_low", "/proc/device-tree/tpm-i2c-bus", "/proc/device-tree/tpm-i2c-address",
          "/proc/device-tree/tpm-use-usb"}) {
        world.board.remove(path);
        std::filesystem::create_hard_link(world.path("content"), world.board.file(path));
    }
}

void try_input(const World &world, ByteView input) {
    world.put("content", input);
    const auto size = static_cast<unsigned int>(input.size());
    for (const unsigned int length : {1u, size, size + 1, 5000u}) {
        Output out(length);
        expect(x_sysfs_read_bytes(attribute, out.data(), size / 2, length) <= 0, "bytes are read or not");
    }
    for (const std::string &word : {std::string(), std::string(300, 'x'), std::string(input.begin(), input.end())})
        expect(x_sysfs_contains(attribute, word.c_str()) <= 1, "a word is there or not");
    for (const auto &[read, highest] : {Attribute{x_gpio_util_get_direction, 1},
                                        {x_gpio_util_get, 1},
                                        {x_gpio_util_get_edge, 3},
                                        {x_gpio_util_get_active_low, 9}}) {
        int number = -77;
        expect(read(3, &number) == 0 ? number >= 0 && number <= highest : number == -77, "a line's attribute is read");
    }
    int number;
    unsigned int percent;
    float celsius;
    x_sysfs_read_int(attribute, &number);
    ntc_sysfs_temp_read(attribute, &celsius);
    ntc_temp_read(3, 10000, 3950, 10000, 4096, &celsius);
    x_pwm_read_cycle("panel", &percent);
    expect(tpm_init_device() <= 1, "the chip is found or not, wherever the properties say that it is");
}

}  // namespace ostdrv::fuzz
