// The I2C bus of a simulated board: who answers on it.
#ifndef OSTDRV_SIM_I2C_HPP
#define OSTDRV_SIM_I2C_HPP

#include <string_view>

struct i2c_rdwr_ioctl_data;

namespace ostdrv::sim {

// The kernel's I2C_RDWR on an open bus: the number of messages transferred, or -1 with errno set.
int i2c_transfer(std::string_view bus_path, i2c_rdwr_ioctl_data &request);

}  // namespace ostdrv::sim

#endif
