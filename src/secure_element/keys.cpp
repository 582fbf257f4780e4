#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/slot_locks.hpp"
#include "support/status.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

namespace {

constexpr uint16_t key_slot = 0;

constexpr uint16_t trustx_public_key_object = 0xF1D6;
constexpr auto trustx_curve_p256 = static_cast<optiga_ecc_curve_t>(3);
constexpr uint8_t trustx_key_usage = 0x13;  // authentication, encryption, signing
constexpr uint8_t trustx_erase_and_write = 0x40;

// SubjectPublicKeyInfo of a P-256 key up to its BIT STRING, which is the form the Trust X gives a public key in.
constexpr uint8_t spki_prefix[] = {0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02,
                                   0x01, 0x06, 0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x07};

int genkey_atecc(uint8_t *pubkey) {
    const int status = require_unlocked_atecc(key_slot);
    if (status == status_chip) return status;
    if (status == status_locked) return atcab_get_pubkey(key_slot, pubkey) == ATCA_SUCCESS ? status_ok : status_chip;

    if (atcab_genkey(key_slot, pubkey) != ATCA_SUCCESS) return status_chip;
    return atcab_lock_data_slot(key_slot) == ATCA_SUCCESS ? status_ok : status_chip;
}

int genkey_trustx(uint8_t *pubkey, uint16_t pubkey_len) {
    const TrustxSession session;
    if (!session) return status_chip;

    std::memcpy(pubkey, spki_prefix, sizeof spki_prefix);
    auto key = static_cast<optiga_key_id_t>(0xE0F1);
    uint16_t length = pubkey_len;
    if (optiga_crypt_ecc_generate_keypair(trustx_curve_p256, trustx_key_usage, false, &key, pubkey + sizeof spki_prefix,
                                          &length) != 0)
        return status_chip;

    // A length beyond the caller's buffer is the chip's mistake, not something to read.
    if (length > pubkey_len || length > UINT16_MAX - sizeof spki_prefix) return status_chip;
    const auto whole = static_cast<uint16_t>(length + sizeof spki_prefix);
    return optiga_util_write_data(trustx_public_key_object, trustx_erase_and_write, 0, pubkey, whole) == 0
               ? status_ok
               : status_chip;
}

}  // namespace

int tpm_genkey(uint8_t *pubkey, uint16_t pubkey_len) {
    if (!pubkey) return status_argument;
    return is_trustx() ? genkey_trustx(pubkey, pubkey_len) : genkey_atecc(pubkey);
}

int tpm_write_public_key_atecc(uint16_t slot, const uint8_t *pubkey) {
    if (const int status = require_unlocked_atecc(slot)) return status;
    return atcab_write_pubkey(slot, pubkey) == ATCA_SUCCESS ? status_ok : status_chip;
}

int tpm_sign_atecc(const uint8_t *digest, uint8_t *signature) {
    return atcab_sign(key_slot, digest, signature) == ATCA_SUCCESS ? status_ok : status_chip;
}

int tpm_verify_with_stored_public_key_atecc(const uint8_t *digest, const uint8_t *signature, uint16_t slot,
                                            bool *is_verified) {
    uint8_t key[64] = {};
    if (atcab_read_pubkey(slot, key) != ATCA_SUCCESS) return status_chip;
    return tpm_verify_with_ext_public_key_atecc(digest, signature, key, is_verified);
}

int tpm_verify_with_ext_public_key_atecc(const uint8_t *digest, const uint8_t *signature, const uint8_t *pubkey,
                                         bool *is_verified) {
    return atcab_verify_extern(digest, signature, pubkey, is_verified) == ATCA_SUCCESS ? status_ok : status_chip;
}

int tpm_get_type(void) {
    switch (atcab_get_device_type()) {
        case ATECC508A:
            return 0;
        case ATECC608A:
            return 1;
        default:
            return 32;
    }
}
