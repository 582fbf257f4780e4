#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_map.hpp"
#include "secure_element/chip_status.hpp"
#include "secure_element/slot_locks.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

namespace {

constexpr auto trustx_curve_p256 = static_cast<optiga_ecc_curve_t>(3);
constexpr uint8_t trustx_key_usage = 0x13;  // authentication, encryption, signing

// SubjectPublicKeyInfo of a P-256 key up to its BIT STRING, which is the form the Trust X gives a public key in.
constexpr uint8_t spki_prefix[] = {0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02,
                                   0x01, 0x06, 0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x07};

int genkey_atecc(uint8_t *pubkey) {
    const int status = require_unlocked_atecc(atecc::device_key_slot);
    if (status == TPM_ERR_CHIP) return status;
    if (status == TPM_ERR_LOCKED) return chip_status(atcab_get_pubkey(atecc::device_key_slot, pubkey));

    if (atcab_genkey(atecc::device_key_slot, pubkey) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    return chip_status(atcab_lock_data_slot(atecc::device_key_slot));
}

int genkey_trustx(uint8_t *pubkey, uint16_t pubkey_len) {
    const TrustxSession session;
    if (!session) return TPM_ERR_CHIP;

    std::memcpy(pubkey, spki_prefix, sizeof spki_prefix);
    auto key = static_cast<optiga_key_id_t>(trustx::device_key);
    uint16_t length = pubkey_len;
    if (optiga_crypt_ecc_generate_keypair(trustx_curve_p256, trustx_key_usage, false, &key, pubkey + sizeof spki_prefix,
                                          &length) != 0)
        return TPM_ERR_CHIP;

    // A length beyond the caller's buffer is the chip's mistake, not something to read.
    if (length > pubkey_len || length > UINT16_MAX - sizeof spki_prefix) return TPM_ERR_CHIP;
    const auto whole = static_cast<uint16_t>(length + sizeof spki_prefix);
    return chip_status(optiga_util_write_data(trustx::device_public_key, trustx::erase_and_write, 0, pubkey, whole));
}

}  // namespace

int tpm_genkey(uint8_t *pubkey, uint16_t pubkey_len) {
    if (!pubkey) return TPM_ERR_ARGUMENT;
    return is_trustx() ? genkey_trustx(pubkey, pubkey_len) : genkey_atecc(pubkey);
}

int tpm_write_public_key_atecc(uint16_t slot, const uint8_t *pubkey) {
    if (const int status = require_unlocked_atecc(slot)) return status;
    return chip_status(atcab_write_pubkey(slot, pubkey));
}

int tpm_sign_atecc(const uint8_t *digest, uint8_t *signature) {
    return chip_status(atcab_sign(atecc::device_key_slot, digest, signature));
}

int tpm_verify_with_stored_public_key_atecc(const uint8_t *digest, const uint8_t *signature, uint16_t slot,
                                            bool *is_verified) {
    uint8_t key[public_key_size] = {};
    if (atcab_read_pubkey(slot, key) != ATCA_SUCCESS) return TPM_ERR_CHIP;
    return tpm_verify_with_ext_public_key_atecc(digest, signature, key, is_verified);
}

int tpm_verify_with_ext_public_key_atecc(const uint8_t *digest, const uint8_t *signature, const uint8_t *pubkey,
                                         bool *is_verified) {
    return chip_status(atcab_verify_extern(digest, signature, pubkey, is_verified));
}

int tpm_get_type(void) {
    switch (atcab_get_device_type()) {
        case ATECC508A:
            return TPM_MODEL_ATECC508A;
        case ATECC608A:
            return TPM_MODEL_ATECC608A;
        default:
            return TPM_MODEL_UNKNOWN;
    }
}
