// The I2C buses of a simulated board: who answers on them, and what their adapter can do.
#ifndef OSTDRV_SIM_I2C_HPP
#define OSTDRV_SIM_I2C_HPP

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

// The kernel's ioctl on an open bus: its result, or -1 with errno set. `address` is the one chosen for this open file.
int i2c_control(const std::string &bus_path, std::atomic<int> &address, unsigned long request, void *argument);

// read and write: one message to or from the chosen address.
ssize_t i2c_read(const std::string &bus_path, int address, void *buffer, std::size_t size);
ssize_t i2c_write(const std::string &bus_path, int address, std::string_view bytes);

}  // namespace ostdrv::sim

#endif
