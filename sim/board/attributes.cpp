#include "attributes.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "eeprom.hpp"
#include "gpio_class.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view lights = "/sys/class/backlight/";
constexpr std::string_view brightness = "/brightness";
constexpr std::string_view own_sensor = "/sys/class/thermal/thermal_zone0/temp";
constexpr std::string_view leds = "/sys/class/leds/";
constexpr unsigned long highest_brightness = 255;

std::string adc_attribute(int channel) { return "/var/tmp/adc/in_voltage" + std::to_string(channel) + "_raw"; }

void make_attribute(const std::string &device_path, std::string_view value) {
    if (!path_exists(*board_path(device_path))) set_attribute(device_path, value);
}

// Removes what a directory holds beyond the wanted names.
void keep_only(std::string_view device_directory, const std::set<std::string> &names) {
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(*board_path(device_directory), error))
        if (!names.contains(entry.path().filename().string())) fs::remove_all(entry.path(), error);
}

void make_lights(std::string_view directory, const std::set<std::string> &names) {
    for (const std::string &name : names) {
        make_attribute(std::string(directory) + name + std::string(brightness), "0");
        make_attribute(std::string(directory) + name + "/max_brightness", std::to_string(highest_brightness));
    }
    keep_only(directory, names);
}

}  // namespace

void make_attributes(const BoardDescription &board) {
    Unseen unseen;
    make_gpio_class(board.gpio_lines);
    std::set<std::string> channels;
    for (int channel = 0; channel < board.adc_channels; ++channel) {
        make_attribute(adc_attribute(channel), "0");
        channels.insert(fs::path(adc_attribute(channel)).filename());
    }
    keep_only("/var/tmp/adc", channels);
    make_lights(lights, board.light_names());
    make_lights(leds, board.led ? std::set<std::string>{"red", "green", "blue"} : std::set<std::string>{});
    make_attribute(std::string(own_sensor), "25000");
    make_eeprom();
}

int store_backlight(const std::string &device_path, std::string_view text) {
    unsigned long value = 0;
    if (const int error = kernel_number(text, value)) return error;
    if (value > highest_brightness) return EINVAL;
    return set_attribute(device_path, std::to_string(value)) ? 0 : EIO;
}

int store_led(const std::string &device_path, std::string_view text) {
    unsigned long value = 0;
    if (const int error = kernel_number(text, value)) return error;
    return set_attribute(device_path, std::to_string(std::min(value, highest_brightness))) ? 0 : EIO;
}

std::optional<std::string> attribute(std::string_view device_path) {
    const auto file = board_path(device_path);
    const auto bytes = file ? read_file(*file) : std::nullopt;
    if (!bytes) return std::nullopt;
    std::string value(bytes->begin(), bytes->end());
    if (value.ends_with('\n')) value.pop_back();
    return value;
}

bool set_attribute(std::string_view device_path, std::string_view value) {
    Unseen unseen;
    const auto file = board_path(device_path);
    if (!file) return false;
    if (value.ends_with('\n')) value.remove_suffix(1);
    return replace_content(*file, std::string(value) + "\n");
}

bool replace_content(const std::string &file, std::string_view content) {
    Unseen unseen;
    std::error_code error;
    fs::create_directories(fs::path(file).parent_path(), error);
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) return false;
    const bool whole = pwrite(descriptor, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()) &&
                       ftruncate(descriptor, static_cast<off_t>(content.size())) == 0;
    close(descriptor);
    return whole;
}

std::string content_of(const std::string &file) {
    const auto bytes = read_file(file);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

int kernel_number(std::string_view text, long &number) {
    const std::string copy(text);
    char *end = nullptr;
    errno = 0;
    const long found = std::strtol(copy.c_str(), &end, 0);
    const int error = errno;
    if (copy.empty() || std::isspace(static_cast<unsigned char>(copy[0])) || *end != '\0') return EINVAL;
    if (error == 0) number = found;
    return error;
}

int kernel_number(std::string_view text, unsigned long &number) {
    long found = 0;
    const int error = kernel_number(text, found);
    if (error || found < 0) return text.starts_with('-') ? EINVAL : error;
    number = static_cast<unsigned long>(found);
    return 0;
}

bool set_adc(int channel, int raw) {
    if (channel < 0 || channel >= BoardDescription::load().adc_channels) return false;
    return set_attribute(adc_attribute(channel), std::to_string(raw));
}

bool set_temperature(double celsius) { return set_attribute(own_sensor, std::to_string(std::lround(celsius * 1000))); }

}  // namespace ostdrv::sim
