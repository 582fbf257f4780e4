#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_status.hpp"

using namespace ostdrv;

// clang-format off
uint8_t tpm_config_data[128] = {
    // 0: serial number, revision, I2C enable: the chip's own, not written
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 16: I2C address, reserved, OTP mode or count match, chip mode
    0xC0, 0x00, 0x55, 0x00,
    // 20: slots 0 to 15, 16 bits each, little-endian: the device key in slot 0, the others plain data
    0x8F, 0x2F, 0x0F, 0x0F, 0x0F, 0x0F, 0x00, 0x00, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F,
    0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F,
    // 52: two monotonic counters
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 68: last key use (508A), use lock, secure boot and key derivation settings (608A)
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    // 84: user extra, selector, data zone and configuration zone unlocked, no slot locked, chip options
    0x00, 0x00, 0x55, 0x55, 0xFF, 0xFF, 0x00, 0x00,
    // 92: X.509 formats
    0, 0, 0, 0,
    // 96: keys 0 to 15, 16 bits each, little-endian
    0x33, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00,
    0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00};
// clang-format on

namespace {

// The same bytes mean different things to the two models. In place, so that tpm_config_data shows what was written.
bool adjust_to_model(uint8_t *image) {
    const int model = tpm_get_type();
    if (model != TPM_MODEL_ATECC508A && model != TPM_MODEL_ATECC608A) return false;

    image[18] = model == TPM_MODEL_ATECC508A ? 0x55 : 0x00;
    if (model == TPM_MODEL_ATECC508A) std::memset(image + 68, 0xFF, 16);
    image[90] = image[91] = 0x00;
    return true;
}

int lock_data_zone() { return chip_status(atcab_lock_data_zone()); }

int write_and_lock(const uint8_t *image) {
    if (atcab_write_config_zone(image) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    if (atcab_lock_config_zone() != ATCA_SUCCESS) return TPM_ERR_CHIP;
    return lock_data_zone();
}

}  // namespace

int tpm_init_config(const uint8_t *config) {
    if (is_trustx()) return TPM_OK;

    uint8_t config_locked = 0;
    uint8_t data_locked = 0;
    if (tpm_is_config_locked(&config_locked) != TPM_OK) return TPM_ERR_CHIP;
    if (tpm_is_data_locked(&data_locked) != TPM_OK) return TPM_ERR_CHIP;
    if (config_locked) return data_locked ? TPM_OK : lock_data_zone();

    if (config) return write_and_lock(config);
    return adjust_to_model(tpm_config_data) ? write_and_lock(tpm_config_data) : TPM_ERR_MODEL;
}
