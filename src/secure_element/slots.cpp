#include <algorithm>
#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/slot_locks.hpp"
#include "support/status.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

const tpm_trustx_slot trustx_slots[8] = {
    {0xE0E0, 1}, {0xE0E1, 1}, {0xE0E2, 1}, {0xE0E3, 1}, {0xE0F0, 0}, {0xE0F1, 0}, {0xE0F2, 0}, {0xE0F3, 0},
};

namespace {

constexpr size_t transfer_size = 1024;
constexpr uint8_t atecc_data_zone = 2;
constexpr uint16_t atecc_key_slot = 0;
constexpr size_t public_key_size = 64;

// Pieces that the Trust X takes in one write; the first erases the object.
constexpr size_t trustx_piece = 256;
constexpr uint8_t trustx_erase_and_write = 0x40;
constexpr uint8_t trustx_write = 0x00;

int read_atecc_public_key(uint8_t *data, size_t *len) {
    if (*len < public_key_size) return status_buffer;
    if (atcab_get_pubkey(atecc_key_slot, data) != ATCA_SUCCESS) return status_chip;
    *len = public_key_size;
    return status_ok;
}

int read_atecc(uint16_t slot, uint8_t *data, size_t *len) {
    size_t size = 0;
    if (atcab_get_zone_size(atecc_data_zone, slot, &size) != ATCA_SUCCESS) return status_chip;
    if (slot == atecc_key_slot) return read_atecc_public_key(data, len);

    uint8_t buffer[transfer_size] = {};
    size = std::min(size, transfer_size);
    if (atcab_read_bytes_zone(atecc_data_zone, slot, 0, buffer, size) != ATCA_SUCCESS) return status_chip;
    *len = std::min(*len, size);
    std::memcpy(data, buffer, *len);
    return status_ok;
}

int read_trustx(uint16_t object, uint8_t *data, size_t *len) {
    const TrustxSession session;
    if (!session) return status_chip;

    uint8_t buffer[transfer_size] = {};
    uint16_t count = transfer_size;
    if (optiga_util_read_data(object, 0, buffer, &count) != 0) return status_chip;
    *len = std::min({*len, size_t{count}, transfer_size});
    std::memcpy(data, buffer, *len);
    return status_ok;
}

int write_atecc(uint16_t slot, const uint8_t *data, size_t len) {
    if (const int status = require_unlocked_atecc(slot)) return status;
    size_t size = 0;
    if (atcab_get_zone_size(atecc_data_zone, slot, &size) != ATCA_SUCCESS) return status_chip;

    // The chip takes whole words.
    uint8_t buffer[transfer_size] = {};
    const size_t count = std::min({len, size, transfer_size});
    std::memcpy(buffer, data, count);
    const size_t rounded = (count + 3) / 4 * 4;
    const auto status = atcab_write_bytes_zone(atecc_data_zone, slot, 0, buffer, rounded);
    return status == ATCA_SUCCESS ? status_ok : status_chip;
}

int write_trustx(uint16_t object, const uint8_t *data, size_t len) {
    uint8_t locked = 0;
    if (tpm_is_slot_locked(object, &locked) != status_ok) return status_chip;
    if (locked) return status_locked;

    const TrustxSession session;
    if (!session) return status_chip;
    const size_t count = std::min(len, transfer_size);
    for (size_t offset = 0; offset < count; offset += trustx_piece) {
        const uint8_t type = offset == 0 ? trustx_erase_and_write : trustx_write;
        const size_t piece = std::min(count - offset, trustx_piece);
        if (optiga_util_write_data(object, type, static_cast<uint16_t>(offset), data + offset,
                                   static_cast<uint16_t>(piece)) != 0)
            return status_chip;
    }
    return status_ok;
}

}  // namespace

int tpm_slot_count(void) { return is_trustx() ? 8 : 16; }

int tpm_read_slot(unsigned int slot, uint8_t *data, size_t *len) {
    if (!data || *len == 0) return status_argument;
    const uint16_t number = static_cast<uint16_t>(slot);
    return is_trustx() ? read_trustx(number, data, len) : read_atecc(number, data, len);
}

int tpm_write_slot(unsigned int slot, const uint8_t *data, size_t len) {
    if (!data || len == 0) return status_argument;
    const uint16_t number = static_cast<uint16_t>(slot);
    return is_trustx() ? write_trustx(number, data, len) : write_atecc(number, data, len);
}
