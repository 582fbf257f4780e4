#include <algorithm>
#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_map.hpp"
#include "secure_element/chip_status.hpp"
#include "secure_element/slot_locks.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

const tpm_trustx_slot trustx_slots[8] = {
    {0xE0E0, 1}, {0xE0E1, 1}, {0xE0E2, 1}, {0xE0E3, 1}, {0xE0F0, 0}, {0xE0F1, 0}, {0xE0F2, 0}, {0xE0F3, 0},
};

namespace {

int read_atecc_public_key(uint8_t *data, size_t *len) {
    if (*len < public_key_size) return TPM_ERR_BUFFER;
    if (atcab_get_pubkey(atecc::device_key_slot, data) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    *len = public_key_size;
    return TPM_OK;
}

int read_atecc(uint16_t slot, uint8_t *data, size_t *len) {
    // Asked of slot 0 too: a chip that does not answer comes before a buffer that is too small.
    size_t size = 0;
    if (atcab_get_zone_size(atecc::data_zone, slot, &size) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    if (slot == atecc::device_key_slot) return read_atecc_public_key(data, len);

    uint8_t buffer[largest_transfer] = {};
    size = std::min(size, largest_transfer);
    if (atcab_read_bytes_zone(atecc::data_zone, slot, 0, buffer, size) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    *len = std::min(*len, size);
    std::memcpy(data, buffer, *len);
    return TPM_OK;
}

int read_trustx(uint16_t object, uint8_t *data, size_t *len) {
    const TrustxSession session;
    if (!session) return TPM_ERR_CHIP;

    uint8_t buffer[largest_transfer] = {};
    uint16_t count = largest_transfer;
    if (optiga_util_read_data(object, 0, buffer, &count) != 0) return TPM_ERR_CHIP;
    *len = std::min({*len, size_t{count}, largest_transfer});
    std::memcpy(data, buffer, *len);
    return TPM_OK;
}

int write_atecc(uint16_t slot, const uint8_t *data, size_t len) {
    if (const int status = require_unlocked_atecc(slot)) return status;
    size_t size = 0;
    if (atcab_get_zone_size(atecc::data_zone, slot, &size) != ATCA_SUCCESS) return TPM_ERR_CHIP;

    // The chip takes whole words.
    uint8_t buffer[largest_transfer] = {};
    const size_t count = std::min({len, size, largest_transfer});
    std::memcpy(buffer, data, count);
    const size_t rounded = (count + 3) / 4 * 4;
    return chip_status(atcab_write_bytes_zone(atecc::data_zone, slot, 0, buffer, rounded));
}

int write_trustx(uint16_t object, const uint8_t *data, size_t len) {
    uint8_t locked = 0;
    if (tpm_is_slot_locked(object, &locked) != TPM_OK) return TPM_ERR_CHIP;
    if (locked) return TPM_ERR_LOCKED;

    const TrustxSession session;
    if (!session) return TPM_ERR_CHIP;
    const size_t count = std::min(len, largest_transfer);
    for (size_t offset = 0; offset < count; offset += trustx::largest_piece) {
        const uint8_t type = offset == 0 ? trustx::erase_and_write : trustx::write_only;
        const size_t piece = std::min(count - offset, trustx::largest_piece);
        if (optiga_util_write_data(object, type, static_cast<uint16_t>(offset), data + offset,
                                   static_cast<uint16_t>(piece)) != 0)
            return TPM_ERR_CHIP;
    }
    return TPM_OK;
}

}  // namespace

int tpm_slot_count(void) { return is_trustx() ? trustx::slot_count : atecc::slot_count; }

int tpm_read_slot(unsigned int slot, uint8_t *data, size_t *len) {
    if (!data || *len == 0) return TPM_ERR_ARGUMENT;
    const uint16_t number = static_cast<uint16_t>(slot);
    return is_trustx() ? read_trustx(number, data, len) : read_atecc(number, data, len);
}

int tpm_write_slot(unsigned int slot, const uint8_t *data, size_t len) {
    if (!data || len == 0) return TPM_ERR_ARGUMENT;
    const uint16_t number = static_cast<uint16_t>(slot);
    return is_trustx() ? write_trustx(number, data, len) : write_atecc(number, data, len);
}
