#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_map.hpp"
#include "secure_element/chip_status.hpp"
#include "support/stream.hpp"

using namespace ostdrv;

ATCAIfaceCfg tpm_iface_config_i2c = {
    .iface_type = ATCA_I2C_IFACE,
    .devtype = ATECC508A,
    .atcai2c = {.slave_address = atecc::i2c_address << 1, .bus = atecc::i2c_bus, .baud = 400000},
    .wake_delay = 1500,
    .rx_retries = 20,
    .cfg_data = nullptr,
};

ATCAIfaceCfg tpm_iface_config_hid = {
    .iface_type = ATCA_HID_IFACE,
    .devtype = ATECC508A,
    .atcahid = {.idx = 0,
                .vid = 0x03EB,
                .pid = 0x2312,
                .packetsize = 64,
                .guid = {0x4d, 0x1e, 0x55, 0xb2, 0xf1, 0x6f, 0x11, 0xcf, 0x88, 0xcb, 0x00, 0x11, 0x11, 0x00, 0x00,
                         0x30}},
    .wake_delay = 1500,
    .rx_retries = 20,
    .cfg_data = nullptr,
};

ATCAIfaceCfg *g_atca_iface_cfg = nullptr;

namespace {

struct I2cPlace {
    uint8_t bus;
    uint8_t address;  // shifted left by one, as the chip's library has it
};

// The last byte of a 32-bit big-endian device-tree cell. A shorter property counts as absent.
std::optional<uint8_t> cell_byte(const char *path) {
    // Looked for before it is opened: most boards have none.
    if (access(path, F_OK) != 0) return std::nullopt;
    Stream property(path, "r");
    uint8_t cell[4];
    if (!property || !property.read(cell, sizeof cell)) return std::nullopt;
    return cell[3];
}

I2cPlace i2c_place() {
    I2cPlace place = {.bus = atecc::i2c_bus, .address = atecc::i2c_address << 1};
    if (const auto bus = cell_byte("/proc/device-tree/tpm-i2c-bus")) place.bus = *bus;
    if (const auto address = cell_byte("/proc/device-tree/tpm-i2c-address"))
        place.address = static_cast<uint8_t>((*address & 127) * 2);
    return place;
}

// "&>" is not every shell's: dash takes it for "in the background", so the command always succeeds there and the kit is
// never chosen. It stays, because devices rely on the choice that their shell makes.
bool answers(const I2cPlace &place) {
    constexpr unsigned int a_register = 3;
    char command[512];
    std::snprintf(command, sizeof command, "i2cget -y %d 0x%x 0x%x &>/dev/null", place.bus,
                  static_cast<unsigned int>(place.address >> 1), a_register);
    return std::system(command) == 0;
}

bool on_usb_kit(const I2cPlace &place) {
    const auto usb = cell_byte("/proc/device-tree/tpm-use-usb");
    return usb && *usb != 0 && !answers(place);
}

void choose_interface() {
    const I2cPlace place = i2c_place();
    if (on_usb_kit(place)) {
        g_atca_iface_cfg = &tpm_iface_config_hid;
        return;
    }
    g_atca_iface_cfg = &tpm_iface_config_i2c;
    g_atca_iface_cfg->atcai2c.slave_address = place.address;
    g_atca_iface_cfg->atcai2c.bus = place.bus;
}

}  // namespace

int tpm_init_device(void) {
    if (is_trustx()) return TPM_OK;

    choose_interface();
    if (atcab_init(g_atca_iface_cfg) != ATCA_SUCCESS) return TPM_ERR_NOT_STARTED;

    // The session is opened again once the chip itself has said which model it is.
    uint8_t config[atecc::config_size] = {};
    if (tpm_get_config_atecc(config) != TPM_OK) return TPM_ERR_NOT_STARTED;
    g_atca_iface_cfg->devtype = config[atecc::model_byte] == atecc::model_508a ? ATECC508A : ATECC608A;
    return atcab_init(g_atca_iface_cfg) == ATCA_SUCCESS ? TPM_OK : TPM_ERR_NOT_STARTED;
}

int tpm_get_config_atecc(uint8_t *config) {
    if (!config) return TPM_ERR_ARGUMENT;
    return chip_status(atcab_read_config_zone(config));
}
