#include "i2c.hpp"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/board_state.hpp"

namespace ostdrv::sim {
namespace {

constexpr unsigned long functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_BYTE | I2C_FUNC_SMBUS_BYTE_DATA |
                                    I2C_FUNC_SMBUS_WORD_DATA | I2C_FUNC_SMBUS_BLOCK_DATA | I2C_FUNC_SMBUS_I2C_BLOCK |
                                    I2C_FUNC_SMBUS_PROC_CALL | I2C_FUNC_SMBUS_BLOCK_PROC_CALL;
// The kernel's drivers have these chips for themselves.
constexpr int eeprom_address = 0x50, adc_address = 0x34;

int failed(int error) {
    errno = error;
    return -1;
}

int number_of(const std::string &bus_path) {
    int bus = -1;
    std::sscanf(bus_path.c_str(), "/dev/i2c-%d", &bus);
    return bus;
}

// The chip says nothing but that it is there.
bool answers(int bus, int address) {
    const BoardDescription board = BoardDescription::load();
    if (bus != board.i2c_bus) return false;
    return (board.atecc_on_i2c() && address == board.i2c_address) || address == eeprom_address ||
           address == adc_address;
}

int transfer(int bus, const i2c_rdwr_ioctl_data &request) {
    if (request.nmsgs == 0 || request.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) return failed(EINVAL);
    for (i2c_msg *message = request.msgs; message != request.msgs + request.nmsgs; ++message) {
        if (!answers(bus, message->addr)) return failed(ETIMEDOUT);
        if (message->flags & I2C_M_RD) std::memset(message->buf, 0, message->len);
    }
    return static_cast<int>(request.nmsgs);
}

int transfer(int bus, int address, const i2c_smbus_ioctl_data &request) {
    if (request.size > I2C_SMBUS_I2C_BLOCK_DATA || request.read_write > I2C_SMBUS_READ) return failed(EINVAL);
    if (!answers(bus, address)) return failed(ETIMEDOUT);
    if (request.read_write == I2C_SMBUS_READ && request.data) request.data->word = 0;
    return 0;
}

int choose(int bus, std::atomic<int> &chosen, unsigned long address, bool by_force) {
    if (address > 0x7F) return failed(EINVAL);
    const bool driven =
        bus == BoardDescription::load().i2c_bus && (address == eeprom_address || address == adc_address);
    if (driven && !by_force) return failed(EBUSY);
    chosen = static_cast<int>(address);
    return 0;
}

}  // namespace

int i2c_control(const std::string &bus_path, std::atomic<int> &address, unsigned long request, void *argument) {
    const int bus = number_of(bus_path);
    const auto number = reinterpret_cast<std::uintptr_t>(argument);
    switch (request) {
        case I2C_FUNCS:
            std::memcpy(argument, &functions, sizeof functions);
            return 0;
        case I2C_SLAVE:
        case I2C_SLAVE_FORCE:
            return choose(bus, address, number, request == I2C_SLAVE_FORCE);
        case I2C_RDWR:
            return transfer(bus, *static_cast<const i2c_rdwr_ioctl_data *>(argument));
        case I2C_SMBUS:
            return transfer(bus, address, *static_cast<const i2c_smbus_ioctl_data *>(argument));
        case I2C_TENBIT:
        case I2C_PEC:
            return number == 0 ? 0 : failed(EINVAL);
        case I2C_TIMEOUT:
        case I2C_RETRIES:
            return 0;
        default:
            return failed(ENOTTY);
    }
}

ssize_t i2c_read(const std::string &bus_path, int address, void *buffer, std::size_t size) {
    if (!answers(number_of(bus_path), address)) return failed(ETIMEDOUT);
    std::memset(buffer, 0, size);
    return static_cast<ssize_t>(size);
}

ssize_t i2c_write(const std::string &bus_path, int address, std::string_view bytes) {
    return answers(number_of(bus_path), address) ? static_cast<ssize_t>(bytes.size()) : failed(ETIMEDOUT);
}

}  // namespace ostdrv::sim
