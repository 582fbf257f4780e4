// Layout 1: each certificate as its to-be-signed part (TBS) and its signature, from which the chip alone gives the
// whole certificate back.
#include <algorithm>

#include "certificates/definition.hpp"
#include "certificates/ecdsa_signature.hpp"
#include "certificates/rebuilt_certificate.hpp"
#include "ostdrv.h"
#include "secure_element/slot_locks.hpp"
#include "support/stream.hpp"

using namespace ostdrv;

namespace {

// The slots of a certificate: its TBS, a chunk in each slot from the first to the last, and its signature.
struct Place {
    uint16_t tbs_first, tbs_last;
    size_t chunk;
    uint16_t signature;

    constexpr size_t capacity() const { return (tbs_last - tbs_first + size_t{1}) * chunk; }
};
constexpr Place signer = {8, 8, atecc::large_slot_size, 10};
constexpr Place device = {11, 15, atecc::certificate_slot_size, 9};

// One certificate as the chip holds it.
struct StoredCert {
    uint8_t tbs[signer.capacity()] = {};
    size_t tbs_length = 0;  // of what the chip gave
    uint8_t signature[signature_size] = {};

    Bytes held_tbs() const { return {tbs, tbs_length}; }
};
static_assert(device.capacity() <= sizeof StoredCert::tbs);

int read(const Place &place, StoredCert *cert) {
    cert->tbs_length = 0;
    for (uint16_t slot = place.tbs_first; slot <= place.tbs_last; ++slot) {
        size_t length = place.chunk;
        if (const int status = tpm_read_slot(slot, cert->tbs + cert->tbs_length, &length)) return status;
        // A chunk of several has its place by the length of those before it.
        if (length != place.chunk && place.tbs_first != place.tbs_last) return TPM_ERR_BUFFER;
        cert->tbs_length += length;
    }
    size_t length = sizeof cert->signature;
    return tpm_read_slot(place.signature, cert->signature, &length);
}

// Finds out everything that can be wrong with the file, before the first slot is written.
int read_file(const char *path, size_t tbs_capacity, Certificate *certificate, Bytes *tbs, uint8_t *signature) {
    // Whatever is wrong with the file is 2, on this layout as on the other.
    if (tpm_cert_read_cert_from_file(path, certificate->der, &certificate->length) != TPM_OK) return TPM_ERR_CHIP;

    // Only to locate the parts: the chip library neither writes nor reads through it.
    atcacert_def_t definition = certificate_definition(zone_none, 0);
    if (const int status = tpm_cert_reconfig_atcacert_def(&definition, certificate->der, certificate->length))
        return status;
    const auto located = [&](const atcacert_cert_loc_t &place) {
        return certificate->bytes().subspan(place.offset, place.count);
    };
    *tbs = located(definition.tbs_cert_loc);
    if (tbs->size() > tbs_capacity) return TPM_ERR_TOO_LARGE;
    if (tbs->empty()) return TPM_ERR_CHIP;
    const Bytes bit_string = located(definition.std_cert_elements[STDCERT_SIGNATURE]);
    const bool has_signature =
        bit_string.size() > before_integers && signature_from_der(bit_string.subspan(before_integers), signature);
    return has_signature ? TPM_OK : TPM_ERR_CHIP;
}

int save(const char *path, const Place &place) {
    if (!path) return TPM_ERR_ARGUMENT;
    Certificate certificate;
    Bytes tbs;
    uint8_t signature[signature_size];
    if (const int status = read_file(path, place.capacity(), &certificate, &tbs, signature)) return status;

    for (uint16_t slot = place.tbs_first; !tbs.empty(); ++slot) {
        const Bytes chunk = tbs.first(std::min(tbs.size(), place.chunk));
        if (const int status = tpm_write_slot(slot, chunk.data(), chunk.size())) return status;
        tbs = tbs.subspan(chunk.size());
    }
    return tpm_write_slot(place.signature, signature, sizeof signature);
}

int lock(const Place &place) { return lock_slots(place.tbs_first, place.tbs_last, place.signature); }

int export_to(const char *path, const Place &place) {
    StoredCert stored;
    if (const int status = read(place, &stored)) return status;
    Certificate certificate;
    if (atecc_v1_build_cert(stored.held_tbs(), stored.signature, &certificate) != TPM_OK) return TPM_ERR_CERTIFICATE;

    char pem[2048] = {};
    size_t pem_length = sizeof pem;
    if (atcacert_encode_pem_cert(certificate.der, certificate.length, pem, &pem_length) != 0 || pem_length > sizeof pem)
        return TPM_ERR_CERTIFICATE;
    return Stream(path, "w").write_and_close(pem, pem_length) ? TPM_OK : TPM_ERR_FILE;
}

// Whether the issuer's key signed the certificate stored at a place, and if so the key in it.
int verify_stored(const Place &place, const uint8_t *issuer_key, bool *verified, uint8_t *subject_key) {
    StoredCert cert;
    if (const int status = read(place, &cert)) return status;
    const Bytes tbs = announced_tbs(cert.held_tbs());
    if (tbs.empty()) return TPM_ERR_CERTIFICATE;

    uint8_t digest[digest_size] = {};
    if (atcac_sw_sha2_256(tbs.data(), tbs.size(), digest) != 0) return TPM_ERR_CHIP;
    if (const int status = tpm_verify_with_ext_public_key_atecc(digest, cert.signature, issuer_key, verified))
        return status;
    return *verified ? tpm_get_pubkey_from_tbs(tbs.data(), tbs.size(), subject_key) : TPM_OK;
}

int atecc_v1_verify_cert_chain(const uint8_t *ca_public_key, const char *const *, uint8_t *is_verified) {
    if (!ca_public_key || !is_verified) return TPM_ERR_ARGUMENT;
    *is_verified = 0;

    bool verified = false;
    uint8_t signer_key[public_key_size] = {};
    if (const int status = verify_stored(signer, ca_public_key, &verified, signer_key)) return status;
    if (!verified) return TPM_OK;

    verified = false;
    uint8_t device_key[public_key_size] = {};
    if (const int status = verify_stored(device, signer_key, &verified, device_key)) return status;
    if (!verified) return TPM_OK;

    return __cert_challenge(device_key, is_verified);
}

int atecc_v1_save_signer_cert(const char *path) { return save(path, signer); }
int atecc_v1_save_device_cert(const char *path) { return save(path, device); }
int atecc_v1_lock_signer_cert() { return lock(signer); }
int atecc_v1_lock_device_cert() { return lock(device); }
int atecc_v1_export_signer_cert(const char *path) { return export_to(path, signer); }
int atecc_v1_export_device_cert(const char *path) { return export_to(path, device); }

}  // namespace

tpm_cert_api_t tpm_cert_api_impl_1 = {
    .save_signer_cert = atecc_v1_save_signer_cert,
    .save_device_cert = atecc_v1_save_device_cert,
    .lock_signer_cert = atecc_v1_lock_signer_cert,
    .lock_device_cert = atecc_v1_lock_device_cert,
    .export_signer_cert = atecc_v1_export_signer_cert,
    .export_device_cert = atecc_v1_export_device_cert,
    .verify = atecc_v1_verify_cert_chain,
};
