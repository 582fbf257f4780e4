// The device's shell. Its commands run in a real one, the host's /bin/sh or the one that the board's owner names,
// because shells differ: to some `&>` is a redirection, to others it is `&` and then `>`.
#ifndef OSTDRV_SIM_SHELL_HPP
#define OSTDRV_SIM_SHELL_HPP

#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

// What the host's /bin/sh is given for a command of the device's shell: device paths lie below the board's root, and
// i2cget asks the board's bus.
std::string host_command(std::string_view device_command);

// Whether a shell takes `&>` for a redirection; only then can a failing i2cget choose the USB kit. Nothing when there
// is no such shell.
std::optional<bool> redirects_both(const std::string &shell);

}  // namespace ostdrv::sim

#endif
