// Two oddities are promised. Every function exports the line for itself, also where one calls another that does so
// again: none depends on what ran before it, and a look at a directory is cheap. And a direction's or edge's word that
// is written short passes: the kernel takes a word whole or refuses it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "gpio/line_path.hpp"
#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/file_descriptor.hpp"

using ostdrv::FileDescriptor;
using ostdrv::line_path;

namespace {

constexpr std::array<std::string_view, 3> edge_names{"falling", "rising", "both"};

// The count of one read or write, -1 also when the attribute cannot be opened.
ssize_t read_attribute(int gpio, std::string_view attribute, char *text, size_t size) {
    const FileDescriptor file(line_path(gpio, attribute).c_str(), O_RDONLY);
    return file ? read(file.get(), text, size) : -1;
}

ssize_t write_attribute(int gpio, std::string_view attribute, std::string_view text) {
    const FileDescriptor file(line_path(gpio, attribute).c_str(), O_WRONLY);
    return file ? write(file.get(), text.data(), text.size()) : -1;
}

bool read_character(int gpio, std::string_view attribute, char *character) {
    return x_gpio_util_export(gpio) == 0 && read_attribute(gpio, attribute, character, 1) == 1;
}

bool write_flag(int gpio, std::string_view attribute, int flag) {
    return write_attribute(gpio, attribute, flag != 0 ? "1" : "0") == 1;
}

}  // namespace

ostdrv::LinePath ostdrv::line_path(int gpio, std::string_view attribute) {
    LinePath path;
    path.append("/sys/class/gpio/gpio").append(gpio).append(attribute);
    return path;
}

int x_gpio_util_export(int gpio) {
    if (access(line_path(gpio).c_str(), F_OK) == 0) return 0;

    const FileDescriptor file("/sys/class/gpio/export", O_WRONLY);
    return file && ostdrv::write_decimal(file.get(), gpio) ? 0 : -1;
}

int x_gpio_util_get_direction(int gpio, int *direction) {
    char first;
    if (!read_character(gpio, "/direction", &first)) return -1;
    *direction = first == 'i' ? X_GPIO_INPUT : X_GPIO_OUTPUT;
    return 0;
}

int x_gpio_util_direction(int gpio, int direction) {
    int current;
    if (x_gpio_util_export(gpio) != 0 || x_gpio_util_get_direction(gpio, &current) != 0) return -1;
    // The codes as they are: of all values that mean an output, only X_GPIO_OUTPUT is known to be in force already.
    if (current == direction) return 0;
    return write_attribute(gpio, "/direction", direction != 0 ? "out" : "in") == -1 ? -1 : 0;
}

int x_gpio_util_get(int gpio, int *value) {
    char level;
    if (!read_character(gpio, "/value", &level)) return -1;
    *value = level == '1' ? 1 : 0;
    return 0;
}

int x_gpio_util_set(int gpio, int value) {
    if (x_gpio_util_export(gpio) != 0 || x_gpio_util_direction(gpio, X_GPIO_OUTPUT) != 0) return -1;
    return write_flag(gpio, "/value", value) ? 0 : -1;
}

int x_gpio_util_edge(int gpio, unsigned int edge) {
    if (edge >= edge_names.size() || x_gpio_util_export(gpio) != 0) return -1;
    return write_attribute(gpio, "/edge", edge_names[edge]) == -1 ? -1 : 0;
}

int x_gpio_util_get_edge(int gpio, int *edge) {
    if (x_gpio_util_export(gpio) != 0) return -1;
    char text[19];
    const ssize_t length = read_attribute(gpio, "/edge", text, sizeof text);
    if (length <= 0) return -1;

    const char *const line_end = std::find(text, text + length, '\n');
    const std::string_view line(text, static_cast<size_t>(line_end - text));
    const auto found = std::find(edge_names.begin(), edge_names.end(), line);
    *edge = found != edge_names.end() ? static_cast<int>(found - edge_names.begin()) : X_GPIO_EDGE_NONE;
    return 0;
}

int x_gpio_util_get_active_low(int gpio, int *active_low) {
    char flag;
    if (!read_character(gpio, "/active_low", &flag)) return -1;
    *active_low = flag >= '0' && flag <= '9' ? flag - '0' : 0;
    return 0;
}

int x_gpio_util_active_low(int gpio, int active_low) {
    return x_gpio_util_export(gpio) == 0 && write_flag(gpio, "/active_low", active_low) ? 0 : -1;
}
