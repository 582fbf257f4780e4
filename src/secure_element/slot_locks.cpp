#include "secure_element/slot_locks.hpp"

#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "support/status.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

namespace {

constexpr uint8_t config_zone = 0;
constexpr uint8_t data_zone = 1;

int zone_locked(uint8_t zone, uint8_t *locked) {
    bool is_locked = false;
    if (atcab_is_locked(zone, &is_locked) != ATCA_SUCCESS) return status_chip;
    *locked = is_locked;
    return status_ok;
}

int atecc_slot_locked(uint16_t slot, uint8_t *locked) {
    const int status = require_unlocked_atecc(slot);
    if (status == status_chip) return status;
    *locked = status == status_locked;
    return status_ok;
}

int trustx_object_locked(uint16_t object, uint8_t *locked) {
    char *change = nullptr;
    char *read = nullptr;
    char *execute = nullptr;
    {
        const TrustxSession session;
        if (!session || trustX_lockStatus(object, &change, &read, &execute) != 0 || !change) return status_chip;
    }
    *locked = std::strcmp(change, __NEV) == 0;
    return status_ok;
}

int lock_trustx_object(uint16_t object) {
    const TrustxSession session;
    return session && trustX_lockSlot(object) == 0 ? status_ok : status_chip;
}

}  // namespace

int ostdrv::require_unlocked_atecc(uint16_t slot) {
    bool locked = false;
    if (atcab_is_slot_locked(slot, &locked) != ATCA_SUCCESS) return status_chip;
    return locked ? status_locked : status_ok;
}

int tpm_is_config_locked(uint8_t *locked) {
    const bool trustx = is_trustx();
    if (!locked) return status_argument;

    if (!trustx) return zone_locked(config_zone, locked);
    *locked = 1;
    return status_ok;
}

int tpm_is_data_locked(uint8_t *locked) {
    if (!locked) return status_argument;

    if (!is_trustx()) return zone_locked(data_zone, locked);
    *locked = 0;
    return status_ok;
}

int tpm_is_slot_locked(uint16_t slot, uint8_t *locked) {
    if (!locked) return status_argument;
    return is_trustx() ? trustx_object_locked(slot, locked) : atecc_slot_locked(slot, locked);
}

int tpm_lock_slot(uint16_t slot) {
    uint8_t locked = 0;
    if (tpm_is_slot_locked(slot, &locked) != status_ok) return status_chip;
    if (locked) return status_ok;

    if (is_trustx()) return lock_trustx_object(slot);
    return atcab_lock_data_slot(slot) == ATCA_SUCCESS ? status_ok : status_chip;
}
