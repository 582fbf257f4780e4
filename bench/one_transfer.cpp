// What the functions that make one transfer cost beside the system calls they have to make. Both sides pass the same
// thin functions, which count and lead the kernel's fixed paths to ordinary files in a temporary directory.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>

#include "bare_calls.hpp"
#include "ostdrv.h"
#include "table.hpp"
#include "temporary_directory.hpp"

using namespace ostdrv::bench;

namespace {

std::string root;  // the temporary directory
long calls_made = 0;

struct Place {
    explicit Place(const char *path) : path_(path) {
        if (std::strncmp(path, "/sys/class/", 11) != 0 && std::strncmp(path, "/var/tmp/adc/", 13) != 0) return;
        char *const rest = std::copy(root.begin(), root.end(), mapped_);
        std::memcpy(rest, path, std::strlen(path) + 1);
        path_ = mapped_;
    }
    const char *path_;
    char mapped_[512];
};

}  // namespace

#ifndef __clang__
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif
extern "C" {

int open(const char *path, int flags, ...) {
    ++calls_made;
    // The kernel does not truncate an attribute, and an ordinary file must not lose its value either.
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, Place(path).path_, flags & ~O_TRUNC));
}
int __open_2(const char *path, int flags) { return open(path, flags); }
int close(int fd) {
    ++calls_made;
    return static_cast<int>(syscall(SYS_close, fd));
}
ssize_t read(int fd, void *buffer, size_t size) {
    ++calls_made;
    return syscall(SYS_read, fd, buffer, size);
}
ssize_t __read_chk(int fd, void *buffer, size_t size, size_t) { return read(fd, buffer, size); }
ssize_t write(int fd, const void *bytes, size_t size) {
    ++calls_made;
    return syscall(SYS_write, fd, bytes, size);
}
off_t lseek(int fd, off_t offset, int whence) noexcept {
    ++calls_made;
    return syscall(SYS_lseek, fd, offset, whence);
}
int access(const char *path, int mode) noexcept {
    ++calls_made;
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, Place(path).path_, mode));
}
// As if an edge had come: nobody sleeps, so what is timed is what surrounds the sleep.
int poll(struct pollfd *watches, nfds_t count, int) {
    ++calls_made;
    const timespec no_time{};
    syscall(SYS_ppoll, watches, count, &no_time, nullptr, 0);
    watches[0].revents = POLLPRI;
    return 1;
}
int __poll_chk(struct pollfd *watches, nfds_t count, int timeout, size_t) { return poll(watches, count, timeout); }
int stat(const char *path, struct stat *status) noexcept {
    ++calls_made;
    return fstatat(AT_FDCWD, path, status, 0);
}

}  // extern "C"

namespace {

const char *const sample = "/var/tmp/adc/in_voltage3_raw";
const char *const light = "/sys/class/backlight/panel/brightness";

long count_calls(const std::function<void()> &action) {
    const long before = calls_made;
    action();
    return calls_made - before;
}

struct Pair {
    const char *name;
    std::function<void()> function, bare;
};

void compare(const Table &table, std::initializer_list<Pair> pairs) {
    constexpr int batch = 50;
    for (const auto &[name, function, bare] : pairs) {
        const long made = count_calls(function);
        const long needed = count_calls(bare);
        table.compare({.name = name,
                       .unit = "of the bare calls' time",
                       .library = timed(batch, function),
                       .bare = timed(batch, bare),
                       .turns = 600,
                       .remark = "calls " + std::to_string(made) + ", needed " + std::to_string(needed)});
    }
}

std::string attribute(const std::string &path, const std::string &text) {
    const std::string file = path[0] == '/' ? root + path : root + "/" + path;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file) << text;
    return file;
}

void add_attribute_files(const Table &table) {
    static const std::string file = attribute("plain", "45500\n");
    static const std::string words = attribute("words", "none rising falling both\n");
    static const char *const path = file.c_str();
    static char bytes[16];
    static int number;
    static unsigned size;
    static struct stat status;
    compare(table,
            {
                {"x_sysfs_exists", [] { x_sysfs_exists(path); }, [] { ask(path); }},
                {"x_sysfs_size", [] { x_sysfs_size(path, &size); }, [] { stat(path, &status); }},
                {"x_sysfs_read_int", [] { x_sysfs_read_int(path, &number); }, [] { get(path, 16); }},
                {"x_sysfs_write_int", [] { x_sysfs_write_int(path, 45500); }, [] { put(path, "45500", O_RDWR); }},
                {"x_sysfs_read_bytes", [] { x_sysfs_read_bytes(path, bytes, 0, 16); }, [] { get(path, 16); }},
                {"x_sysfs_write_bytes", [] { x_sysfs_write_bytes(path, "45500", 0, 5); },
                 [] { put(path, "45500", O_RDWR); }},
                {"x_sysfs_contains", [] { x_sysfs_contains(words.c_str(), "both"); },
                 [] {
                     const int opens = open(words.c_str(), O_RDONLY | O_CLOEXEC);
                     get(words.c_str(), 256);
                     close(opens);
                 }},
            });
}

void add_lines(const Table &table) {
    static int number;
    attribute(line_direction, "out\n"), attribute(line_value, "0\n"), attribute(line_edge, "none\n"),
        attribute(line_active_low, "0\n");
    const auto know_direction = [] { ask(line_directory), ask(line_directory), get(line_direction, 1); };
    compare(table, {
                       {"x_gpio_util_export", [] { x_gpio_util_export(line); }, [] { ask(line_directory); }},
                       {"x_gpio_util_get_direction", [] { x_gpio_util_get_direction(line, &number); },
                        [] { ask(line_directory), get(line_direction, 1); }},
                       {"x_gpio_util_direction", [] { x_gpio_util_direction(line, X_GPIO_OUTPUT); }, know_direction},
                       {"x_gpio_util_get", [] { x_gpio_util_get(line, &number); },
                        [] { ask(line_directory), get(line_value, 1); }},
                       {"x_gpio_util_set", [] { x_gpio_util_set(line, 1); },
                        [know_direction] { ask(line_directory), know_direction(), put(line_value, "1"); }},
                       {"x_gpio_util_get_edge", [] { x_gpio_util_get_edge(line, &number); },
                        [] { ask(line_directory), get(line_edge, 19); }},
                       {"x_gpio_util_edge", [] { x_gpio_util_edge(line, X_GPIO_EDGE_BOTH); },
                        [] { ask(line_directory), put(line_edge, "both"); }},
                       {"x_gpio_util_get_active_low", [] { x_gpio_util_get_active_low(line, &number); },
                        [] { ask(line_directory), get(line_active_low, 1); }},
                       {"x_gpio_util_active_low", [] { x_gpio_util_active_low(line, 0); },
                        [] { ask(line_directory), put(line_active_low, "0"); }},
                   });
}

void add_waits(const Table &table) {
    static int number;
    static x_gpio_poll_entry entries[16];
    attribute(line_direction, "in\n");
    for (x_gpio_poll_entry &entry : entries)
        entry = {.gpio = line, .edge = X_GPIO_EDGE_BOTH, .value = 0, .fired = 0, .fd = -1};
    must(x_gpio_util_poll_multiple_setup(entries, 16) == 0, "setting lines up");
    compare(table, {
                       {"x_gpio_util_poll", [] { x_gpio_util_poll(line, X_GPIO_EDGE_BOTH, 1000, &number); },
                        [] { wait_for_edge(1000); }},
                       {"x_gpio_util_poll_multiple, 16 lines", [] { x_gpio_util_poll_multiple(entries, 16, 1000); },
                        [] { wait_for_edge(entries, 16, 1000); }},
                   });
}

void add_analog_inputs_and_lights(const Table &table) {
    static float temp;
    static unsigned number;
    static const std::string millidegrees = attribute("temp", "45500\n");
    attribute(sample, "2048\n"), attribute(light, "128\n");
    static const int fd = pwm_proc_open("panel");
    compare(
        table,
        {
            {"adc_read_impl", [] { adc_read_impl(3); }, [] { get(sample, 128); }},
            {"ntc_temp_read", [] { ntc_temp_read(3, 10000, 3950, 10000, 4096, &temp); }, [] { get(sample, 128); }},
            {"ntc_sysfs_temp_read", [] { ntc_sysfs_temp_read(millidegrees.c_str(), &temp); },
             [] { get(millidegrees.c_str(), 16); }},
            {"pwm_proc_write", [] { lseek(fd, 0, SEEK_SET), pwm_proc_write(fd, 128); }, [] { put_again(fd, "128"); }},
            {"pwm_proc_read", [] { lseek(fd, 0, SEEK_SET), pwm_proc_read(fd, &number); }, [] { get_again(fd, 15); }},
            {"x_pwm_set_cycle", [] { x_pwm_set_cycle("panel", 50); }, [] { put(light, "128", O_RDWR | O_TRUNC); }},
            {"x_pwm_read_cycle", [] { x_pwm_read_cycle("panel", &number); }, [] { get(light, 15, O_RDWR | O_TRUNC); }},
        });
}

void measure(const Table &table, const std::string &) {
    const ostdrv::test::TemporaryDirectory directory;
    root = directory.path();
    for (const auto add : {add_attribute_files, add_lines, add_waits, add_analog_inputs_and_lights}) {
        add(table);
        table.run();
    }
}

}  // namespace

int main(int argc, char **argv) { return bench_main(argc, argv, measure); }
