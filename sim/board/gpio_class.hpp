// The kernel's sysfs GPIO class (Documentation/admin-guide/gpio/sysfs.rst), as far as a file system can show it: lines
// appear and disappear through `export` and `unexport`, and their attributes accept what the kernel's accept.
//
// What the attributes do not show is kept in lines/N of the board's directory: the level that the outside drives the
// line to, what the line itself drives, exported or not, and how many selected edges were seen. Events are counted
// there from 1, and the file is changed in place, so that a wait can watch it.
#ifndef OSTDRV_SIM_GPIO_CLASS_HPP
#define OSTDRV_SIM_GPIO_CLASS_HPP

#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

void make_gpio_class(int lines);

// What the kernel answers to a text written to an attribute: 0, or its error number.
int store_export(const std::string &device_path, std::string_view text);
int store_unexport(const std::string &device_path, std::string_view text);
int store_direction(const std::string &device_path, std::string_view text);
int store_value(const std::string &device_path, std::string_view text);
int store_edge(const std::string &device_path, std::string_view text);
int store_active_low(const std::string &device_path, std::string_view text);

// The line whose directory this is or holds this file.
std::optional<int> line_of(std::string_view device_path);
// The line whose value this is, at which its edges are waited for, be it exported still or not.
std::optional<int> edges_of(std::string_view device_path);

// Drives a line from outside the process. An exported input shows the level, and one whose selected edge this is wakes
// those who wait. False when the board has no such line.
bool drive_line(int line, bool high);

struct LineState {
    bool driven_high = false;
    bool is_output = false;
    bool drives_high = false;
    unsigned events = 1;

    bool level() const { return is_output ? drives_high : driven_high; }

    static LineState load(int line);
    bool save(int line) const;
};
std::string line_state_file(int line);

}  // namespace ostdrv::sim

#endif
