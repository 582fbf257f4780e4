// The kernel's sysfs GPIO class (Documentation/admin-guide/gpio/sysfs.rst), as far as a file system can show it: lines
// appear and disappear through `export` and `unexport`, and their attributes accept what the kernel's accept.
//
// What the attributes do not show is kept in lines/N of the board's directory: the level that the outside drives the
// line to, and how many selected edges were seen. Events are counted there from 1, and the file is changed in place,
// so that a waiting poll can watch it.
#ifndef OSTDRV_SIM_GPIO_CLASS_HPP
#define OSTDRV_SIM_GPIO_CLASS_HPP

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

void make_gpio_class(int lines);

// The error number of writing a text to one of the class's attributes, 0 when it was accepted; nothing for other paths.
std::optional<int> gpio_store(std::string_view device_path, std::string_view text);

// Drives a line from outside the process. An exported input shows the level, and one whose selected edge this is wakes
// those who wait. False when the board has no such line.
bool drive_line(int line, bool high);

// An attribute of an exported line. `gone` is one that was unexported while a descriptor was open.
struct LineAttribute {
    int line;
    std::string name;
    bool gone;
};
std::optional<LineAttribute> line_attribute(std::string_view device_path);

struct LineState {
    bool driven_high = false;
    unsigned events = 1;

    static LineState load(int line);
    bool save(int line) const;
};
std::filesystem::path line_state_file(int line);

}  // namespace ostdrv::sim

#endif
