#include "gpio_line.hpp"

#include <ostdrv.h>

#include <cstring>
#include <limits>

namespace ostdrv::tool {
namespace {

std::string reason(int error, int line) {
    if (std::string missing = missing_class(); !missing.empty()) return missing;
    std::string text = error != 0 ? std::strerror(error) : "an attribute of it is empty";
    if (x_sysfs_exists(("/sys/class/gpio/gpio" + std::to_string(line)).c_str()) != 0) {
        if (error == EINVAL) return "the board has no such line (" + text + ")";
        if (error == EBUSY) return "a driver or another program has it (" + text + ")";
    }
    if (error == ENOENT) return "it has no such attribute (" + text + ")";
    return text;
}

}  // namespace

LineArgument parse_line(const std::string &text, char separator) {
    const std::size_t end = text.find(separator);
    const auto line = parse_number(text.substr(0, end), 0, std::numeric_limits<int>::max());
    if (end == text.size() - 1) throw BadUsage("'" + text + "' ends where a value is wanted");
    return {static_cast<int>(line), end == std::string::npos ? "" : text.substr(end + 1)};
}

std::string line_name(int line) { return "line " + std::to_string(line); }

std::string missing_class() {
    if (x_sysfs_exists("/sys/class/gpio/export") == 0) return "";
    return "there is no /sys/class/gpio; is this the device? 'ostdrv-sim -- COMMAND' plays one";
}

Failure line_failure(const std::string &what, int line) {
    const int error = errno;
    return Failure("cannot " + what + " " + line_name(line) + ": " + reason(error, line));
}

bool is_output(int line) {
    int direction = X_GPIO_INPUT;
    require_line("read the direction of", line, [&] { return x_gpio_util_get_direction(line, &direction); });
    return direction == X_GPIO_OUTPUT;
}

}  // namespace ostdrv::tool
