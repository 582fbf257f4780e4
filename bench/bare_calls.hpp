// The system calls that are needed, as a program makes them that has no library around them.
#ifndef OSTDRV_BENCH_BARE_CALLS_HPP
#define OSTDRV_BENCH_BARE_CALLS_HPP

#include <fcntl.h>

#include <cstddef>

#include "ostdrv.h"

namespace ostdrv::bench {

// One line of the board, and its files.
inline constexpr int line = 7;
inline constexpr char line_directory[] = "/sys/class/gpio/gpio7";
inline constexpr char line_direction[] = "/sys/class/gpio/gpio7/direction";
inline constexpr char line_value[] = "/sys/class/gpio/gpio7/value";
inline constexpr char line_edge[] = "/sys/class/gpio/gpio7/edge";
inline constexpr char line_active_low[] = "/sys/class/gpio/gpio7/active_low";

// Whether a file is there, what it holds, what it shall hold.
void ask(const char *path);
void get(const char *path, std::size_t size, int flags = O_RDONLY);
void put(const char *path, const char *text, int flags = O_WRONLY);

// The same from and to the start of an open file.
void get_again(int fd, std::size_t size);
void put_again(int fd, const char *text);

// The wait for an edge of the line, or of the first of several lines. Whether one came.
bool wait_for_edge(int timeout);
bool wait_for_edge(const x_gpio_poll_entry *entries, int count, int timeout);

}  // namespace ostdrv::bench

#endif
