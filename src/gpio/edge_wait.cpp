#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "gpio/line_path.hpp"
#include "ostdrv.h"
#include "support/file_descriptor.hpp"

using ostdrv::FileDescriptor;
using ostdrv::line_path;

namespace {

constexpr int most_lines = 16;

bool prepare_line(int gpio, unsigned int edge) {
    return x_gpio_util_export(gpio) == 0 && x_gpio_util_direction(gpio, X_GPIO_INPUT) == 0 &&
           x_gpio_util_edge(gpio, edge) == 0;
}

FileDescriptor open_value(int gpio) { return FileDescriptor(line_path(gpio, "/value").c_str(), O_RDONLY); }

// Reading from the start makes the kernel forget the edges seen so far: the next poll reports a later one only.
bool read_level(int fd, int *level) {
    char text;
    lseek(fd, 0, SEEK_SET);
    if (read(fd, &text, 1) != 1) return false;
    *level = text == '1' ? 1 : 0;
    return true;
}

// The line's descriptor stays in its entry, where the clean-up finds it.
bool open_entry(x_gpio_poll_entry &entry) {
    entry.fd = open_value(entry.gpio).release();
    int level;
    return entry.fd >= 0 && read_level(entry.fd, &level);
}

}  // namespace

int x_gpio_util_poll(int gpio, unsigned int edge, int timeout_ms, int *value) {
    if (!prepare_line(gpio, edge)) return -1;
    const FileDescriptor file = open_value(gpio);
    if (!file) return -1;

    pollfd watch{file.get(), POLLPRI, 0};
    int level;
    read_level(watch.fd, &level);
    if (poll(&watch, 1, timeout_ms) <= 0) return 1;

    if (!(watch.revents & POLLPRI)) {
        printf("revents %x\n", static_cast<unsigned int>(watch.revents));
        return -1;
    }
    return read_level(watch.fd, value) ? 0 : -1;
}

int x_gpio_util_poll_multiple_setup(x_gpio_poll_entry *entries, int count) {
    if (!entries || count > most_lines) return -1;

    for (int i = 0; i < count; ++i)
        if (!prepare_line(entries[i].gpio, static_cast<unsigned int>(entries[i].edge))) return -1;

    for (int i = 0; i < count; ++i) entries[i].fd = -1;
    for (int i = 0; i < count; ++i) {
        if (open_entry(entries[i])) continue;
        x_gpio_poll_multiple_cleanup(entries, count);
        return -1;
    }
    return 0;
}

int x_gpio_util_poll_multiple(x_gpio_poll_entry *entries, int count, int timeout_ms) {
    if (!entries || count < 0 || count > most_lines) return -1;

    pollfd watches[most_lines];
    for (int i = 0; i < count; ++i) watches[i] = {entries[i].fd, POLLPRI, 0};
    if (poll(watches, static_cast<nfds_t>(count), timeout_ms) <= 0) return 1;

    for (int i = 0; i < count; ++i)
        if ((watches[i].revents & POLLPRI) && read_level(entries[i].fd, &entries[i].value)) entries[i].fired = 1;
    return 0;
}

void x_gpio_poll_multiple_cleanup(x_gpio_poll_entry *entries, int count) {
    for (int i = 0; i < count; ++i)
        if (const int fd = std::exchange(entries[i].fd, -1); fd != -1) close(fd);
}
