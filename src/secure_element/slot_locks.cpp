#include "secure_element/slot_locks.hpp"

#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_map.hpp"
#include "secure_element/chip_status.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

namespace {

int zone_locked(uint8_t zone, uint8_t *locked) {
    bool is_locked = false;
    if (atcab_is_locked(zone, &is_locked) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    *locked = is_locked;
    return TPM_OK;
}

int atecc_slot_locked(uint16_t slot, uint8_t *locked) {
    const int status = require_unlocked_atecc(slot);
    if (status == TPM_ERR_CHIP) return status;
    *locked = status == TPM_ERR_LOCKED;
    return TPM_OK;
}

int trustx_object_locked(uint16_t object, uint8_t *locked) {
    char *change = nullptr;
    char *read = nullptr;
    char *execute = nullptr;
    {
        const TrustxSession session;
        if (!session || trustX_lockStatus(object, &change, &read, &execute) != 0 || !change) return TPM_ERR_CHIP;
    }
    *locked = std::strcmp(change, __NEV) == 0;
    return TPM_OK;
}

int lock_trustx_object(uint16_t object) {
    const TrustxSession session;
    return session ? chip_status(trustX_lockSlot(object)) : TPM_ERR_CHIP;
}

}  // namespace

int ostdrv::require_unlocked_atecc(uint16_t slot) {
    bool locked = false;
    if (atcab_is_slot_locked(slot, &locked) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    return locked ? TPM_ERR_LOCKED : TPM_OK;
}

int ostdrv::lock_slots(uint16_t first, uint16_t last, uint16_t then) {
    for (uint16_t slot = first; slot <= last; ++slot)
        if (const int status = tpm_lock_slot(slot)) return status;
    return tpm_lock_slot(then);
}

int tpm_is_config_locked(uint8_t *locked) {
    // Before the argument is looked at, here alone: even the call that is refused has had the chip decided.
    const bool trustx = is_trustx();
    if (!locked) return TPM_ERR_ARGUMENT;

    if (!trustx) return zone_locked(atecc::config_zone_lock, locked);
    *locked = 1;
    return TPM_OK;
}

int tpm_is_data_locked(uint8_t *locked) {
    if (!locked) return TPM_ERR_ARGUMENT;

    if (!is_trustx()) return zone_locked(atecc::data_zone_lock, locked);
    *locked = 0;
    return TPM_OK;
}

int tpm_is_slot_locked(uint16_t slot, uint8_t *locked) {
    if (!locked) return TPM_ERR_ARGUMENT;
    return is_trustx() ? trustx_object_locked(slot, locked) : atecc_slot_locked(slot, locked);
}

int tpm_lock_slot(uint16_t slot) {
    uint8_t locked = 0;
    if (tpm_is_slot_locked(slot, &locked) != TPM_OK) return TPM_ERR_CHIP;
    if (locked) return TPM_OK;

    if (is_trustx()) return lock_trustx_object(slot);
    return chip_status(atcab_lock_data_slot(slot));
}
