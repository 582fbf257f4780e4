#include "bare_calls.hpp"

#include <poll.h>
#include <unistd.h>

#include <cstring>

namespace ostdrv::bench {
namespace {

// What a call returns does not matter here: the library's side looks at it.
void ignore([[maybe_unused]] ssize_t result) {}

}  // namespace

void ask(const char *path) { ignore(access(path, F_OK)); }

void get(const char *path, std::size_t size, int flags) {
    char buffer[256];
    const int fd = open(path, flags | O_CLOEXEC);
    ignore(read(fd, buffer, size));
    close(fd);
}

void put(const char *path, const char *text, int flags) {
    const int fd = open(path, flags | O_CLOEXEC);
    ignore(write(fd, text, std::strlen(text)));
    close(fd);
}

void get_again(int fd, std::size_t size) {
    char buffer[256];
    lseek(fd, 0, SEEK_SET);
    ignore(read(fd, buffer, size));
}

void put_again(int fd, const char *text) {
    lseek(fd, 0, SEEK_SET);
    ignore(write(fd, text, std::strlen(text)));
}

bool wait_for_edge(int timeout) {
    ask(line_directory);
    ask(line_directory);
    ask(line_directory);
    get(line_direction, 1);
    ask(line_directory);
    put(line_edge, "both");
    const int fd = open(line_value, O_RDONLY | O_CLOEXEC);
    get_again(fd, 1);
    pollfd watch{fd, POLLPRI, 0};
    const bool woken = poll(&watch, 1, timeout) == 1;
    get_again(fd, 1);
    close(fd);
    return woken;
}

bool wait_for_edge(const x_gpio_poll_entry *entries, int count, int timeout) {
    pollfd watches[16];
    for (int i = 0; i < count; ++i) watches[i] = {entries[i].fd, POLLPRI, 0};
    const bool woken = poll(watches, static_cast<nfds_t>(count), timeout) > 0 && (watches[0].revents & POLLPRI) != 0;
    get_again(entries[0].fd, 1);
    return woken;
}

}  // namespace ostdrv::bench
