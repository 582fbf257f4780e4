// The device's absolute paths that a simulated board provides, and where they are kept below its root.
#ifndef OSTDRV_SIM_DEVICE_PATHS_HPP
#define OSTDRV_SIM_DEVICE_PATHS_HPP

#include <fcntl.h>

#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

// Where the board keeps a device path, or nothing for a path that is not the device's.
std::optional<std::string> board_path(std::string_view device_path);

// The device path that an open descriptor stands for, empty for any other file. A file that is gone has " (deleted)"
// behind its name.
std::string device_path_of(int descriptor);

// The device path that a call means with a path, be it relative to a directory, or the name of the board's own file.
std::string device_path_of(int directory, const char *path);

// A shell's text with every device path in it replaced by its place on the board.
std::string with_board_paths(std::string_view command);

// A path argument on its way to the C library: mapped when it is the device's, else as it was given.
class PathArgument {
 public:
    explicit PathArgument(const char *path, int directory = AT_FDCWD);
    operator const char *() const { return mapped_.empty() ? given_ : mapped_.c_str(); }

    // Of a file of the board's, empty for any other.
    std::string device_path() const { return device_path_of(directory_, *this); }

 private:
    const char *given_;
    int directory_;
    std::string mapped_;
};

}  // namespace ostdrv::sim

#endif
