// What the functions that make one transfer cost beside the system calls they have to make.
//
// Each is timed in turn with a bare loop of the same calls, batch by batch in one run; `ratio` is the median over the
// batches, `calls` what the function makes and `needed` what the bare loop makes. Both sides pass the same thin
// functions, which count and lead the kernel's fixed paths to ordinary files in a temporary directory.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ostdrv.h"

namespace {

std::string root;  // the temporary directory
long calls_made = 0;

struct Place {
    explicit Place(const char *path) : path_(path) {
        if (std::strncmp(path, "/sys/class/", 11) != 0 && std::strncmp(path, "/var/tmp/adc/", 13) != 0) return;
        char *const rest = std::copy(root.begin(), root.end(), mapped_);
        std::strcpy(rest, path);
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
int stat(const char *path, struct stat *status) noexcept {
    ++calls_made;
    return fstatat(AT_FDCWD, path, status, 0);
}

}  // extern "C"

namespace {

const char *const line = "/sys/class/gpio/gpio7";
const char *const direction = "/sys/class/gpio/gpio7/direction";
const char *const value = "/sys/class/gpio/gpio7/value";
const char *const edge = "/sys/class/gpio/gpio7/edge";
const char *const active_low = "/sys/class/gpio/gpio7/active_low";
const char *const sample = "/var/tmp/adc/in_voltage3_raw";
const char *const light = "/sys/class/backlight/panel/brightness";

void ask(const char *path) { access(path, F_OK); }
void get(const char *path, size_t size, int flags = O_RDONLY) {
    char buffer[256];
    const int fd = open(path, flags | O_CLOEXEC);
    benchmark::DoNotOptimize(read(fd, buffer, size));
    close(fd);
}
void put(const char *path, const char *text, int flags = O_WRONLY) {
    const int fd = open(path, flags | O_CLOEXEC);
    benchmark::DoNotOptimize(write(fd, text, std::strlen(text)));
    close(fd);
}

using Clock = std::chrono::steady_clock;
constexpr int batch = 50;

template <typename Action>
double seconds(const Action &action) {
    const auto start = Clock::now();
    for (int i = 0; i < batch; ++i) action();
    return std::chrono::duration<double>(Clock::now() - start).count() / batch;
}

template <typename Action>
long count_calls(const Action &action) {
    const long before = calls_made;
    action();
    return calls_made - before;
}

double median(std::vector<double> &numbers) {
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

template <typename Function, typename Bare>
void compare(const char *name, Function function, Bare bare) {
    const auto run = [function, bare](benchmark::State &state) {
        std::vector<double> ratios;
        for (auto _ : state) {
            const double own = seconds(function);
            ratios.push_back(own / seconds(bare));
            state.SetIterationTime(own);
        }
        state.counters["ratio"] = median(ratios);
        state.counters["calls"] = static_cast<double>(count_calls(function));
        state.counters["needed"] = static_cast<double>(count_calls(bare));
    };
    benchmark::RegisterBenchmark(name, run)->UseManualTime()->Iterations(600);
}

std::string attribute(const std::string &path, const std::string &text) {
    const std::string file = path[0] == '/' ? root + path : root + "/" + path;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file) << text;
    return file;
}

void add_attribute_files() {
    static const std::string file = attribute("plain", "45500\n");
    static const std::string words = attribute("words", "none rising falling both\n");
    static const char *const path = file.c_str();
    static char bytes[16];
    static int number;
    static unsigned size;
    static struct stat status;
    compare(
        "x_sysfs_exists", [] { x_sysfs_exists(path); }, [] { ask(path); });
    compare(
        "x_sysfs_size", [] { x_sysfs_size(path, &size); }, [] { stat(path, &status); });
    compare(
        "x_sysfs_read_int", [] { x_sysfs_read_int(path, &number); }, [] { get(path, 16); });
    compare(
        "x_sysfs_write_int", [] { x_sysfs_write_int(path, 45500); }, [] { put(path, "45500", O_RDWR); });
    compare(
        "x_sysfs_read_bytes", [] { x_sysfs_read_bytes(path, bytes, 0, 16); }, [] { get(path, 16); });
    compare(
        "x_sysfs_write_bytes", [] { x_sysfs_write_bytes(path, "45500", 0, 5); }, [] { put(path, "45500", O_RDWR); });
    compare(
        "x_sysfs_contains", [] { x_sysfs_contains(words.c_str(), "both"); },
        [] {
            const int opens = open(words.c_str(), O_RDONLY | O_CLOEXEC);
            get(words.c_str(), 256);
            close(opens);
        });
}

void add_lines() {
    static int number;
    attribute(direction, "out\n"), attribute(value, "0\n"), attribute(edge, "none\n"), attribute(active_low, "0\n");
    const auto know_direction = [] { ask(line), ask(line), get(direction, 1); };
    compare(
        "x_gpio_util_export", [] { x_gpio_util_export(7); }, [] { ask(line); });
    compare(
        "x_gpio_util_get_direction", [] { x_gpio_util_get_direction(7, &number); },
        [] { ask(line), get(direction, 1); });
    compare(
        "x_gpio_util_direction", [] { x_gpio_util_direction(7, 1); }, know_direction);
    compare(
        "x_gpio_util_get", [] { x_gpio_util_get(7, &number); }, [] { ask(line), get(value, 1); });
    compare(
        "x_gpio_util_set", [] { x_gpio_util_set(7, 1); },
        [know_direction] { ask(line), know_direction(), put(value, "1"); });
    compare(
        "x_gpio_util_get_edge", [] { x_gpio_util_get_edge(7, &number); }, [] { ask(line), get(edge, 19); });
    compare(
        "x_gpio_util_edge", [] { x_gpio_util_edge(7, 2); }, [] { ask(line), put(edge, "both"); });
    compare(
        "x_gpio_util_get_active_low", [] { x_gpio_util_get_active_low(7, &number); },
        [] { ask(line), get(active_low, 1); });
    compare(
        "x_gpio_util_active_low", [] { x_gpio_util_active_low(7, 0); }, [] { ask(line), put(active_low, "0"); });
}

void add_analog_inputs_and_lights() {
    static float temp;
    static unsigned number;
    static const std::string millidegrees = attribute("temp", "45500\n");
    attribute(sample, "2048\n"), attribute(light, "128\n");
    static const int fd = pwm_proc_open("panel");
    compare(
        "adc_read_impl", [] { adc_read_impl(3); }, [] { get(sample, 128); });
    compare(
        "ntc_temp_read", [] { ntc_temp_read(3, 10000, 3950, 10000, 4096, &temp); }, [] { get(sample, 128); });
    compare(
        "ntc_sysfs_temp_read", [] { ntc_sysfs_temp_read(millidegrees.c_str(), &temp); },
        [] { get(millidegrees.c_str(), 16); });
    compare(
        "pwm_proc_write", [] { lseek(fd, 0, SEEK_SET), pwm_proc_write(fd, 128); },
        [] { lseek(fd, 0, SEEK_SET), benchmark::DoNotOptimize(write(fd, "128", 3)); });
    compare(
        "pwm_proc_read", [] { lseek(fd, 0, SEEK_SET), pwm_proc_read(fd, &number); },
        [] {
            char text[15];
            lseek(fd, 0, SEEK_SET), benchmark::DoNotOptimize(read(fd, text, sizeof text));
        });
    compare(
        "x_pwm_set_cycle", [] { x_pwm_set_cycle("panel", 50); }, [] { put(light, "128", O_RDWR | O_TRUNC); });
    compare(
        "x_pwm_read_cycle", [] { x_pwm_read_cycle("panel", &number); }, [] { get(light, 15, O_RDWR | O_TRUNC); });
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    char directory[] = "/tmp/ostdrv-bench.XXXXXX";
    if (!mkdtemp(directory)) return 1;
    root = directory;
    add_attribute_files();
    add_lines();
    add_analog_inputs_and_lights();
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(root);
    return 0;
}
