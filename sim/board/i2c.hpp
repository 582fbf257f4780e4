// The I2C bus of a simulated board: who answers on it.
#ifndef OSTDRV_SIM_I2C_HPP
#define OSTDRV_SIM_I2C_HPP

#include <optional>
#include <string_view>

struct i2c_rdwr_ioctl_data;

namespace ostdrv::sim {

// The kernel's I2C_RDWR on an open bus: the number of messages transferred, or -1 with errno set.
int i2c_transfer(std::string_view bus_path, i2c_rdwr_ioctl_data &request);

// The wait status of an i2cget command, or nothing when the command is another one.
std::optional<int> answer_i2cget(std::string_view command);

}  // namespace ostdrv::sim

#endif
