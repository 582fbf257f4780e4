// What the doctor looks for among the kernel's attributes: lines, analog inputs, lights, the sensor's EEPROM.
#include <fcntl.h>
#include <ostdrv.h>
#include <unistd.h>

#include <filesystem>

#include "attribute.hpp"
#include "error.hpp"
#include "finding.hpp"
#include "words.hpp"

namespace ostdrv::tool {
namespace {

const std::string gpio_class = "/sys/class/gpio", adc_directory = "/var/tmp/adc", light_class = "/sys/class/backlight";

bool exists(const std::string &path) { return x_sysfs_exists(path.c_str()) == 0; }

std::string first_line_of(const std::string &path) {
    const std::string text = read_attribute(path);
    return text.substr(0, text.find('\n'));
}

std::string listed(const std::vector<int> &numbers) {
    Words words;
    for (const int number : numbers) words.push_back(std::to_string(number));
    return joined(words);
}

// ---- Lines

Finding look_for_lines() {
    const std::string file = gpio_class + "/export";
    if (!exists(file)) {
        const std::string character_device = exists("/dev/gpiochip0") ? ", though there is /dev/gpiochip0" : "";
        return absent("there is no " + file + character_device,
                      "a kernel with CONFIG_GPIO_SYSFS (CONFIG_EXPERT shows it), and /sys mounted");
    }
    const std::string refused = refusal(file, O_WRONLY);
    return refused.empty() ? ok(file + " can be written") : fault(refused, remedy(file, ""));
}

Finding look_for_controllers() {
    Words found;
    for (const std::string &name : names_in(gpio_class, "gpiochip")) {
        const std::string directory = gpio_class + "/" + name;
        const auto first = parse_number(first_line_of(directory + "/base"), 0, INT32_MAX);
        const auto count = parse_number(first_line_of(directory + "/ngpio"), 1, INT32_MAX);
        found.push_back("lines " + std::to_string(first) + " to " + std::to_string(first + count - 1) + " (" +
                        first_line_of(directory + "/label") + ")");
    }
    if (found.empty())
        return fault("no controller has registered lines",
                     "the driver of the GPIO controller, and its node in the device tree");
    return ok(joined(found));
}

Finding look_at_exported_lines() {
    const std::vector<int> lines = numbers_in(gpio_class, "gpio");
    for (const int line : lines)
        for (const char *attribute : {"direction", "value", "edge", "active_low"}) {
            const std::string file = gpio_class + "/gpio" + std::to_string(line) + "/" + attribute;
            if (!exists(file)) continue;  // no interrupt, or no choice of directions
            if (const std::string refused = refusal(file, O_RDWR); !refused.empty())
                return fault(refused, remedy(file, ""));
        }
    return ok(lines.empty() ? "none is exported yet" : listed(lines) + " can be used");
}

// ---- Analog inputs

Finding look_for_adc() {
    if (exists(adc_directory)) return ok("there is " + adc_directory);
    const std::string to_do = "a link to the directory of the ADC's in_voltageN_raw, such as ostdrv.conf makes";
    std::error_code error;
    if (std::filesystem::is_symlink(adc_directory, error))
        return fault(adc_directory + " is a link to what is not there", to_do);
    return absent("there is no " + adc_directory, to_do);
}

Finding look_at_channels() {
    const std::vector<int> channels = numbers_in(adc_directory, "in_voltage", "_raw");
    if (channels.empty())
        return fault("there is no in_voltageN_raw in " + adc_directory,
                     "the link has to lead to an IIO device with voltage channels");
    for (const int channel : channels) require_number(adc_directory + "/in_voltage" + std::to_string(channel) + "_raw");
    return ok("channels " + listed(channels) + " give samples");
}

// ---- Lights

constexpr std::size_t longest_name = 31;
constexpr int full_brightness = 255;

Finding look_for_lights() {
    const Words names = names_in(light_class);
    if (names.empty())
        return absent("there is no light in " + light_class,
                      "CONFIG_BACKLIGHT_PWM, and a pwm-backlight node for each light");
    return ok(joined(names));
}

Finding look_at_lights() {
    for (const std::string &name : names_in(light_class)) {
        const std::string directory = light_class + "/" + name;
        if (name.size() > longest_name)
            return fault(name + " has more than 31 characters", "a shorter name of its node in the device tree");
        if (const std::string refused = refusal(directory + "/brightness", O_RDWR); !refused.empty())
            return fault(refused, remedy(directory + "/brightness", "the driver of the light"));
        const std::string most = first_line_of(directory + "/max_brightness");
        if (most != std::to_string(full_brightness))
            return fault(directory + " takes 0 to " + most + ", the library drives 0 to 255",
                         "brightness-levels = <0 255>; num-interpolated-steps = <255>; in its node");
    }
    return ok("each can be set from 0 to 255");
}

// ---- The sensor's EEPROM

constexpr unsigned header_region_size = 256;

Finding look_for_eeprom(const std::string &chosen) {
    if (chosen.empty()) {
        Words files;
        for (const std::string bus : {"/sys/bus/i2c/devices/", "/sys/bus/spi/devices/"})
            for (const std::string &device : names_in(bus))
                if (exists(bus + device + "/eeprom")) files.push_back(bus + device + "/eeprom");
        return absent("none was named; on the I2C and SPI buses: " + (files.empty() ? "none" : joined(files)),
                      "--eeprom FILE, the path that the application gives to the library");
    }
    if (const std::string refused = refusal(chosen, O_RDWR); !refused.empty())
        return fault(refused, remedy(chosen, "CONFIG_EEPROM_AT24, its node in the device tree, and a bus that works"));
    unsigned size = 0;
    if (x_sysfs_size(chosen.c_str(), &size) != 0) throw system_failure("cannot tell the size of " + chosen);
    if (size <= header_region_size)
        return fault(chosen + " has " + std::to_string(size) + " bytes, the header alone 256",
                     "the part that is fitted, in the compatible property of its node");
    return ok(chosen + " has " + std::to_string(size) + " bytes");
}

Finding look_into_eeprom(const std::string &chosen) {
    char header[header_region_size];
    errno = 0;
    if (x_sysfs_read_bytes(chosen.c_str(), header, 0, sizeof header) != 0)
        return fault(system_failure("cannot read " + chosen).what(),
                     "is the module plugged in and powered, and its address the node's? dmesg has the bus's errors");
    return ok("its header can be read; 'ostdrv eeprom list' shows what it holds");
}

}  // namespace

Family gpio_family() {
    return {"gpio",
            {{"class", look_for_lines}, {"controller", look_for_controllers}, {"exported", look_at_exported_lines}}};
}

Family adc_family() { return {"adc", {{"directory", look_for_adc}, {"channels", look_at_channels}}}; }

Family pwm_family() { return {"pwm", {{"class", look_for_lights}, {"lights", look_at_lights}}}; }

Family eeprom_family(const std::string &file) {
    return {
        "eeprom",
        {{"file", [file] { return look_for_eeprom(file); }}, {"header", [file] { return look_into_eeprom(file); }}}};
}

}  // namespace ostdrv::tool
