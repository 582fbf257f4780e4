// The kernel's part of a simulated board: what its files are to those who open, read and write them. Each attribute is
// an ordinary file of the board's directory that holds one value and a newline, or an EEPROM's cells. One table says
// what the kernel makes of which, and the functions below act by it; calls on other files are none of their affair.
#ifndef OSTDRV_SIM_KERNEL_HPP
#define OSTDRV_SIM_KERNEL_HPP

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {

// A call that the simulator makes itself is no affair of the kernel's: the C library answers it.
using Caller = Unseen;

// The flags to open a path with: attributes are neither made nor truncated. Nothing, with errno set, when the kernel
// refuses.
std::optional<int> admitted_flags(const Caller &caller, const PathArgument &path, int flags);

// Whether a path may not be made, renamed or removed, with errno set.
bool refuses_change(const Caller &caller, const PathArgument &path);

// What a read or write gives, at a position or where the descriptor stands. Nothing when it is an ordinary file's, and
// for a read that gives the file's own content.
constexpr off_t where_it_stands = -1;
std::optional<ssize_t> read_attribute(const Caller &caller, int descriptor, void *buffer, std::size_t size,
                                      off_t position = where_it_stands);
std::optional<ssize_t> write_attribute(const Caller &caller, int descriptor, const void *bytes, std::size_t size,
                                       off_t position = where_it_stands);

// Whether a file's length is the kernel's alone.
bool keeps_its_length(const Caller &caller, const std::string &device_path);

// Makes type, mode and size those that the kernel reports.
template <typename Status>
void correct_status(const std::string &device_path, Status &status);

}  // namespace ostdrv::sim

#endif
