#include "kernel.hpp"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <type_traits>

#include "attributes.hpp"
#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "eeprom.hpp"
#include "gpio_class.hpp"
#include "i2c.hpp"
#include "open_files.hpp"

namespace ostdrv::sim {
namespace {

struct Written {
    const std::string &device_path;
    std::string_view bytes;
    off_t position;
};

// The number of bytes taken, or an error number below 0.
using Store = ssize_t (*)(const Written &);

// A text is one value, wherever it is written, with a newline or without.
template <int (*store)(const std::string &device_path, std::string_view text)>
ssize_t text(const Written &written) {
    std::string_view value = written.bytes;
    if (value.ends_with('\n')) value.remove_suffix(1);
    const int error = store(written.device_path, value);
    return error ? -error : static_cast<ssize_t>(written.bytes.size());
}

// Its driver has a way to read alone.
int store_sample(const std::string &, std::string_view) { return EINVAL; }

ssize_t cells(const Written &written) { return store_cells(written.bytes, written.position); }

struct Attribute {
    const char *pattern;
    mode_t mode;
    Store store = nullptr;
    off_t size = 4096;  // reported, whatever the value's length
};

constexpr off_t its_own = -1;

constexpr Attribute attributes[] = {
    {"/sys/class/gpio/export", S_IFREG | 0200, text<store_export>},
    {"/sys/class/gpio/unexport", S_IFREG | 0200, text<store_unexport>},
    {"/sys/class/gpio/gpio*/direction", S_IFREG | 0644, text<store_direction>},
    {"/sys/class/gpio/gpio*/value", S_IFREG | 0644, text<store_value>},
    {"/sys/class/gpio/gpio*/edge", S_IFREG | 0644, text<store_edge>},
    {"/sys/class/gpio/gpio*/active_low", S_IFREG | 0644, text<store_active_low>},
    {"/sys/class/backlight/*/brightness", S_IFREG | 0644, text<store_backlight>},
    {"/sys/class/leds/*/brightness", S_IFREG | 0644, text<store_led>},
    {"/sys/class/*/*/max_brightness", S_IFREG | 0444},
    {"/sys/class/thermal/*/temp", S_IFREG | 0444},
    {"/sys/class/gpio/gpiochip*/*", S_IFREG | 0444},
    {"/var/tmp/adc/in_voltage*_raw", S_IFREG | 0644, text<store_sample>},
    {"/proc/device-tree/*", S_IFREG | 0444, nullptr, its_own},
    {"/var/tmp/eeprom", S_IFREG | 0600, cells, its_own},
    {"/dev/i2c-*", S_IFCHR | 0600, nullptr, 0},
};

constexpr std::string_view deleted = " (deleted)";

// Nothing for a directory, and for a file that its owner has put beside the kernel's.
const Attribute *find(std::string_view device_path) {
    if (device_path.ends_with(deleted)) device_path.remove_suffix(deleted.size());
    const std::string path(device_path);
    const auto *const found = std::find_if(std::begin(attributes), std::end(attributes), [&](const Attribute &one) {
        return fnmatch(one.pattern, path.c_str(), FNM_PATHNAME) == 0;
    });
    return found == std::end(attributes) ? nullptr : found;
}

// Where the kernel alone makes and removes files.
bool in_kernels_tree(std::string_view device_path) {
    return device_path.starts_with("/sys/") || device_path.starts_with("/proc/") || device_path.starts_with("/var/");
}

int refused(int error) {
    errno = error;
    return -1;
}

// What the open file was has been taken away, as a line that was unexported.
bool is_gone(std::string_view device_path) { return device_path.ends_with(deleted); }

bool opened_for(int descriptor, int other_than) {
    const int kept_errno = errno;
    const int flags = fcntl(descriptor, F_GETFL);
    errno = kept_errno;
    return flags >= 0 && (flags & O_ACCMODE) != other_than;
}

}  // namespace

std::optional<int> admitted_flags(const Caller &caller, const PathArgument &path, int flags) {
    if (caller.nested()) return flags;
    constexpr int making = O_CREAT | O_EXCL | O_TRUNC;
    const int access = flags & O_ACCMODE;
    const std::string device_path = path.device_path();
    if (!in_kernels_tree(device_path) || (flags & O_PATH)) return flags;

    const std::string file = *board_path(device_path);
    const bool exists = path_exists(file);
    const Attribute *const attribute = find(device_path);
    const auto needs = [&](mode_t bits, int unneeded) {
        return access != unneeded && attribute && !(attribute->mode & bits);
    };
    int error = 0;
    if (!exists && (flags & O_CREAT) && path_exists(file.substr(0, file.rfind('/')))) error = EACCES;
    if (exists && (flags & O_CREAT) && (flags & O_EXCL)) error = EEXIST;
    if (exists && !error && (needs(0444, O_WRONLY) || needs(0222, O_RDONLY))) error = EACCES;
    if (!error) return flags & ~making;
    errno = error;
    return std::nullopt;
}

bool refuses_change(const Caller &caller, const PathArgument &path) {
    const std::string device_path = caller.nested() ? std::string() : path.device_path();
    if (!in_kernels_tree(device_path)) return false;
    errno = path_exists(*board_path(device_path)) ? EPERM : ENOENT;
    return true;
}

std::optional<ssize_t> write_attribute(const Caller &caller, int descriptor, const void *data, std::size_t size,
                                       off_t position) {
    if (caller.nested()) return std::nullopt;
    constexpr std::size_t page = 4096;  // of which no call takes more
    const std::string device_path = device_path_of(descriptor);
    const std::string_view bytes(static_cast<const char *>(data), size);
    const Attribute *const attribute = device_path.empty() || bytes.empty() ? nullptr : find(device_path);
    if (!attribute || !opened_for(descriptor, O_RDONLY)) return std::nullopt;
    if (is_gone(device_path)) return refused(ENODEV);
    if (S_ISCHR(attribute->mode)) return i2c_write(device_path, open_file(descriptor).i2c_address, bytes);
    if (!attribute->store) return std::nullopt;

    const int kept_errno = errno;
    const off_t at = position == where_it_stands ? lseek(descriptor, 0, SEEK_CUR) : position;
    const ssize_t count = attribute->store({device_path, bytes.substr(0, page), at});
    if (count < 0) return refused(static_cast<int>(-count));
    if (position == where_it_stands) lseek(descriptor, at + count, SEEK_SET);
    errno = kept_errno;
    return count;
}

std::optional<ssize_t> read_attribute(const Caller &caller, int descriptor, void *buffer, std::size_t size,
                                      off_t position) {
    if (caller.nested()) return std::nullopt;
    const std::string device_path = device_path_of(descriptor);
    const Attribute *const attribute = device_path.empty() ? nullptr : find(device_path);
    if (!attribute || !opened_for(descriptor, O_WRONLY)) return std::nullopt;
    if (is_gone(device_path)) return refused(ENODEV);
    if (S_ISCHR(attribute->mode)) return i2c_read(device_path, open_file(descriptor).i2c_address, buffer, size);

    // Reading from the start clears a line's edge. The count comes before the value: an edge between the two is
    // reported once more rather than lost.
    const int kept_errno = errno;
    const auto line = edges_of(device_path);
    if (line && (position == where_it_stands ? lseek(descriptor, 0, SEEK_CUR) : position) == 0)
        open_file(descriptor).events_read = LineState::load(*line).events;
    errno = kept_errno;
    return std::nullopt;
}

bool keeps_its_length(const Caller &caller, const std::string &device_path) {
    if (caller.nested()) return false;
    const Attribute *const attribute = device_path.empty() ? nullptr : find(device_path);
    return attribute && S_ISREG(attribute->mode);
}

template <typename Status>
void correct_status(const std::string &device_path, Status &status) {
    const Attribute *const attribute = device_path.empty() ? nullptr : find(device_path);
    const auto correct = [attribute](auto &mode, auto &size) {
        if (!S_ISREG(mode)) return;
        // Other rights than it was made with are what its owner has changed them to.
        if ((mode & 07777) == 0644) mode = static_cast<std::remove_reference_t<decltype(mode)>>(attribute->mode);
        if (attribute->size != its_own) size = static_cast<std::remove_reference_t<decltype(size)>>(attribute->size);
    };
    if (!attribute) return;
    if constexpr (requires { status.stx_mode; })
        correct(status.stx_mode, status.stx_size);
    else
        correct(status.st_mode, status.st_size);
}
template void correct_status(const std::string &, struct stat &);
template void correct_status(const std::string &, struct stat64 &);
template void correct_status(const std::string &, struct statx &);

}  // namespace ostdrv::sim
