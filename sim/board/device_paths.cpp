#include "device_paths.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>

#include "core/board_state.hpp"
#include "core/fault_plan.hpp"

namespace ostdrv::sim {
namespace {

struct DevicePrefix {
    std::string_view text;
    bool whole_component;  // must be followed by '/' or the end of the path
};

// The temporary files of the ASN.1 dump are the board's own too: their names repeat within a second, so two boards on
// one workstation would take each other's.
constexpr std::array prefixes{
    DevicePrefix{"/sys/class/gpio", true},      DevicePrefix{"/sys/class/backlight", true},
    DevicePrefix{"/sys/class/leds", true},      DevicePrefix{"/sys/class/thermal", true},
    DevicePrefix{"/var/tmp/adc", true},         DevicePrefix{"/var/tmp/eeprom", true},
    DevicePrefix{"/mnt/settings", true},        DevicePrefix{"/proc/device-tree", true},
    DevicePrefix{"/dev/i2c-", false},           DevicePrefix{"/tmp/der.tmp", false},
    DevicePrefix{"/tmp/asn1decode.tmp", false},
};

bool is_device_path(std::string_view path) {
    for (const DevicePrefix &prefix : prefixes) {
        if (!path.starts_with(prefix.text)) continue;
        if (!prefix.whole_component || path.size() == prefix.text.size()) return true;
        const char next = path[prefix.text.size()];
        if (!std::isalnum(static_cast<unsigned char>(next)) && next != '_' && next != '-' && next != '.') return true;
    }
    return false;
}

std::string files_directory() { return board_root() + "/fs"; }

// Without quotation marks, because they would end those that the path stands in.
std::string escaped(const std::string &text) {
    std::string escaped_text;
    for (const char c : text) {
        const bool plain =
            std::isalnum(static_cast<unsigned char>(c)) || std::string_view("/._+-").find(c) != std::string_view::npos;
        if (!plain) escaped_text += '\\';
        escaped_text += c;
    }
    return escaped_text;
}

std::string link_target(const char *link) {
    const int kept_errno = errno;
    char target[PATH_MAX];
    const ssize_t length = readlink(link, target, sizeof target);
    errno = kept_errno;
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

// The device path that the board keeps in this file. Nearly every file is ruled out by the first look: this is asked at
// every read and write.
std::string device_path_behind(std::string_view file) {
    if (file.find("/fs/") == std::string_view::npos) return {};
    const int kept_errno = errno;
    const Unseen unseen;
    std::error_code error;
    const std::string given = files_directory(), canonical = std::filesystem::weakly_canonical(given, error).string();
    errno = kept_errno;
    for (const std::string &directory : {given, canonical})
        if (file.starts_with(directory) && is_device_path(file.substr(directory.size())))
            return std::string(file.substr(directory.size()));
    return {};
}

}  // namespace

std::optional<std::string> board_path(std::string_view device_path) {
    if (!is_device_path(device_path)) return std::nullopt;
    return files_directory() + std::string(device_path);
}

std::string device_path_of(int descriptor) {
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    return device_path_behind(link_target(link));
}

std::string device_path_of(int directory, const char *path) {
    if (!path || !*path) return {};
    std::string whole = path;
    if (*path != '/') {
        char link[32] = "/proc/self/cwd";
        if (directory != AT_FDCWD) std::snprintf(link, sizeof link, "/proc/self/fd/%d", directory);
        whole = link_target(link) + "/" + whole;
    }
    whole = std::filesystem::path(whole).lexically_normal().string();
    return is_device_path(whole) ? whole : device_path_behind(whole);
}

std::string with_board_paths(std::string_view command) {
    const std::string directory = escaped(files_directory());
    std::string mapped;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const bool starts_path =
            command[i] == '/' && (i == 0 || !std::isgraph(static_cast<unsigned char>(command[i - 1])) ||
                                  std::string_view("<>=\"'(;|&").find(command[i - 1]) != std::string_view::npos);
        if (starts_path && is_device_path(command.substr(i))) mapped += directory;
        mapped += command[i];
    }
    return mapped;
}

PathArgument::PathArgument(const char *path, int directory) : given_(path), directory_(directory) {
    if (!path) return;
    const int kept_errno = errno;
    if (const auto mapped = board_path(path)) mapped_ = *mapped;
    errno = kept_errno;
}

}  // namespace ostdrv::sim
