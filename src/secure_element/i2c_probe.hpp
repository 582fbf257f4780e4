// Whether something on an I2C bus acknowledges an address.
#ifndef OSTDRV_SECURE_ELEMENT_I2C_PROBE_HPP
#define OSTDRV_SECURE_ELEMENT_I2C_PROBE_HPP

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

#include <cstdio>

#include "support/file_descriptor.hpp"

namespace ostdrv {

// Reads one byte. When nothing answered, errno says why.
inline bool answers_on_i2c(int bus_number, int address) {
    constexpr int tries = 5;
    char path[32];
    std::snprintf(path, sizeof path, "/dev/i2c-%d", bus_number);
    const FileDescriptor bus(path, O_RDWR);
    if (!bus) return false;

    const auto place = static_cast<__u16>(address);
    unsigned char register_number = 0;
    unsigned char received = 0;
    i2c_msg messages[] = {{.addr = place, .flags = 0, .len = 1, .buf = &register_number},
                          {.addr = place, .flags = I2C_M_RD, .len = 1, .buf = &received}};
    i2c_rdwr_ioctl_data request = {.msgs = messages, .nmsgs = 2};
    for (int i = 0; i < tries; ++i)
        if (ioctl(bus.get(), I2C_RDWR, &request) == 2) return true;
    return false;
}

}  // namespace ostdrv

#endif
