#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <span>

#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/file_descriptor.hpp"
#include "support/fixed_text.hpp"

using ostdrv::FileDescriptor;
using ostdrv::FixedText;

namespace {

constexpr size_t longest_name = 31;

// std::round takes halves away from zero, whatever the rounding mode.
int raw_from_percent(unsigned int percent) {
    return static_cast<int>(std::min(std::round(percent * 255.0 / 100.0), static_cast<double>(INT_MAX)));
}

unsigned int percent_from_raw(unsigned int raw) { return static_cast<unsigned int>(std::round(raw * 100.0 / 255.0)); }

}  // namespace

int x_pwm_is_valid_channel(unsigned int count, const int *channels, int channel) {
    const std::span list(channels, count);
    return std::find(list.begin(), list.end(), channel) != list.end() ? 0 : -1;
}

int pwm_proc_open(const char *name) {
    const size_t length = strnlen(name, longest_name + 1);
    if (length > longest_name) return -1;
    FixedText<64> path;
    path.append("/sys/class/backlight/").append({name, length}).append("/brightness");
    return FileDescriptor(path.c_str(), O_RDWR | O_TRUNC).release();
}

int pwm_proc_close(int fd) { return close(fd); }

// Descriptor 0 is what a variable that was never set holds, and no light.
int pwm_proc_write(int fd, int value) { return fd > 0 && ostdrv::write_decimal(fd, value) ? 0 : -1; }

int pwm_proc_read(int fd, unsigned int *value) {
    if (fd <= 0) return -1;
    char text[16] = {};
    if (read(fd, text, sizeof text - 1) <= 0) return -1;

    char *end = nullptr;
    errno = 0;
    *value = static_cast<unsigned int>(strtoul(text, &end, 10));
    return end != text && errno == 0 ? 0 : -1;
}

int x_pwm_set_cycle(const char *name, unsigned int percent) {
    const int fd = pwm_proc_open(name);
    if (fd == -1) return -1;
    const int status = pwm_proc_write(fd, raw_from_percent(percent));
    pwm_proc_close(fd);
    return status < 0 ? -1 : 0;
}

int x_pwm_read_cycle(const char *name, unsigned int *percent) {
    const int fd = pwm_proc_open(name);
    if (fd == -1) return -1;
    const int status = pwm_proc_read(fd, percent);
    *percent = percent_from_raw(*percent);  // after a failed read too, as promised
    pwm_proc_close(fd);
    return status;
}
