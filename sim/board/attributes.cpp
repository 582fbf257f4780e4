#include "attributes.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>

#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "gpio_class.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;
namespace {

constexpr std::array<std::string_view, 3> attribute_trees{"/sys/class/", "/var/tmp/adc/", "/proc/device-tree/"};
constexpr std::string_view lights = "/sys/class/backlight/";
constexpr std::string_view brightness = "/brightness";
constexpr std::string_view own_sensor = "/sys/class/thermal/thermal_zone0/temp";
constexpr std::string_view leds = "/sys/class/leds/";
constexpr int highest_brightness = 255;

bool is_attribute(std::string_view path) {
    return std::any_of(attribute_trees.begin(), attribute_trees.end(),
                       [&](std::string_view tree) { return path.starts_with(tree); });
}

std::string adc_attribute(int channel) { return "/var/tmp/adc/in_voltage" + std::to_string(channel) + "_raw"; }

int store_brightness(const std::string &device_path, std::string_view text) {
    const auto value = kernel_number(text);
    if (!value || *value < 0 || *value > highest_brightness) return EINVAL;
    return set_attribute(device_path, std::to_string(*value)) ? 0 : EIO;
}

// The error number of a write, nothing for an attribute that keeps what is written like any other file.
std::optional<int> store(const std::string &device_path, std::string_view text) {
    if (const auto error = gpio_store(device_path, text)) return error;
    if ((device_path.starts_with(lights) || device_path.starts_with(leds)) && device_path.ends_with(brightness))
        return store_brightness(device_path, text);
    return std::nullopt;
}

void make_attribute(const std::string &device_path, std::string_view value) {
    if (!fs::exists(*board_path(device_path))) set_attribute(device_path, value);
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
}

int open_flags(const char *path, int flags) {
    return path && is_attribute(path) ? flags & ~(O_CREAT | O_EXCL | O_TRUNC) : flags;
}

std::string open_mode(const char *path, const char *mode) {
    if (!path || !is_attribute(path) || mode[0] != 'w') return mode;
    return std::string("r+") + (std::strchr(mode, 'e') ? "e" : "");
}

std::optional<ssize_t> write_attribute(int descriptor, const void *bytes, std::size_t size) {
    const std::string device_path = device_path_of(descriptor);
    if (device_path.empty() || size == 0 || (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY) return std::nullopt;
    std::string_view text(static_cast<const char *>(bytes), size);
    if (text.ends_with('\n')) text.remove_suffix(1);

    const int kept_errno = errno;
    const auto error = store(device_path, text);
    errno = kept_errno;
    if (!error) return std::nullopt;
    if (*error) {
        errno = *error;
        return -1;
    }
    return lseek(descriptor, static_cast<off_t>(size), SEEK_CUR) < 0 ? -1 : static_cast<ssize_t>(size);
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

// pwrite, because write on an attribute is answered by the kernel's part.
bool replace_content(const fs::path &file, std::string_view content) {
    Unseen unseen;
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) return false;
    const bool whole = pwrite(descriptor, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()) &&
                       ftruncate(descriptor, static_cast<off_t>(content.size())) == 0;
    close(descriptor);
    return whole;
}

std::string content_of(const fs::path &file) {
    const auto bytes = read_file(file);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::optional<long> kernel_number(std::string_view text) {
    const std::string copy(text);
    const bool starts_well = !copy.empty() && !std::isspace(static_cast<unsigned char>(copy[0]));
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(copy.c_str(), &end, 0);
    if (!starts_well || errno != 0 || end != copy.c_str() + copy.size()) return std::nullopt;
    return number;
}

bool set_adc(int channel, int raw) {
    if (channel < 0 || channel >= BoardDescription::load().adc_channels) return false;
    return set_attribute(adc_attribute(channel), std::to_string(raw));
}

bool set_temperature(double celsius) { return set_attribute(own_sensor, std::to_string(std::lround(celsius * 1000))); }

bool set_adc_temperature(int channel, const Thermistor &thermistor, double celsius) {
    const double kelvin = celsius + 273.15;
    const double resistance = thermistor.r_nominal * std::exp(thermistor.beta * (1 / kelvin - 1 / 298.15));
    const double share = resistance / (thermistor.r_series + resistance);
    return set_adc(channel, static_cast<int>(std::lround(thermistor.full_scale * share)));
}

}  // namespace ostdrv::sim
