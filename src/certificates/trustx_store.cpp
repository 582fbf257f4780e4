// The Trust X keeps both certificates whole, in DER.
#include <trustx.h>

#include <algorithm>
#include <iterator>

#include "certificates/certificate.hpp"
#include "certificates/ecdsa_signature.hpp"
#include "ostdrv.h"
#include "secure_element/chip_map.hpp"
#include "secure_element/slot_locks.hpp"

using namespace ostdrv;

namespace {

int save(const char *path, uint16_t object) {
    if (!path) return TPM_ERR_ARGUMENT;
    Certificate certificate;
    // Whatever is wrong with the file is 8, and with the one written below as well: that is what it is about here.
    if (tpm_pem_file_to_octet_string(path, certificate.der, &certificate.length) != TPM_OK) return TPM_ERR_FILE;
    if (certificate.length > sizeof certificate.der) return TPM_ERR_TOO_LARGE;
    return tpm_write_slot(object, certificate.der, certificate.length);
}

int export_to(const char *path, uint16_t object) {
    if (!path) return TPM_ERR_ARGUMENT;
    Certificate certificate;
    if (const int status = tpm_read_slot(object, certificate.der, &certificate.length)) return status;
    return tpm_octet_string_to_pem_file(path, certificate.der, certificate.length) == TPM_OK ? TPM_OK : TPM_ERR_FILE;
}

struct Parts {
    Bytes tbs;       // the whole to-be-signed element
    Bytes integers;  // r and s of the signature
};

// Certificates are long enough for one (81) or two (82) length bytes; no other form is looked for.
std::optional<DerElement> first_sequence(Bytes bytes) {
    return bytes.size() < 2 ? std::nullopt : first_element(bytes, (bytes[1] & 0x0f) == 1 ? 1 : 2);
}

// Nothing when a header announces more than there is.
std::optional<Parts> locate_parts(Bytes certificate) {
    const auto outer = first_sequence(certificate);
    if (!outer) return std::nullopt;
    const Bytes content = certificate.subspan(outer->whole.size() - outer->content.size());
    const auto tbs = first_sequence(content);
    if (!tbs) return std::nullopt;
    const Bytes behind = content.subspan(tbs->whole.size());
    const auto algorithm = first_element(behind, 0);
    if (!algorithm || behind.size() < algorithm->whole.size() + before_integers) return std::nullopt;
    return Parts{tbs->whole, behind.subspan(algorithm->whole.size() + before_integers)};
}

// Looked for where the signers' certificates of this board have it: further on, the same four bytes could stand in an
// extension, whose content somebody else chooses.
bool copy_public_key(Bytes tbs, uint8_t *public_key) {
    constexpr uint8_t before_key[] = {0x03, 0x42, 0x00, 0x04};
    constexpr size_t search_at = 160, search_size = 20;
    if (tbs.size() < search_at + search_size) return false;
    const Bytes range = tbs.subspan(search_at, search_size);
    const auto found = std::search(range.begin(), range.end(), std::begin(before_key), std::end(before_key));
    if (found == range.end()) return false;

    const Bytes key = tbs.subspan(search_at + static_cast<size_t>(found - range.begin()) + sizeof before_key);
    if (key.size() < public_key_size) return false;
    std::copy_n(key.begin(), public_key_size, public_key);
    return true;
}

// Reads a certificate and checks its signature with the issuer's key. The parts lie in the certificate.
int read_verified(uint16_t object, const uint8_t *issuer_key, Certificate *certificate, Parts *parts) {
    if (const int status = tpm_read_slot(object, certificate->der, &certificate->length)) return status;
    const auto located = locate_parts(certificate->bytes());
    if (!located) return TPM_ERR_CERTIFICATE;
    *parts = *located;
    const bool verified = trustX_verify(issuer_key, parts->tbs.data(), parts->tbs.size(), parts->integers.data(),
                                        parts->integers.size()) == 0;
    return verified ? TPM_OK : TPM_ERR_CERTIFICATE;
}

int trustx_verify_cert_chain(const uint8_t *ca_public_key, const char *const *, uint8_t *is_verified) {
    if (!ca_public_key || !is_verified) return TPM_ERR_ARGUMENT;

    Certificate signer, device;
    Parts parts;
    uint8_t signer_key[public_key_size] = {};
    if (const int status = read_verified(trustx::signer_cert, ca_public_key, &signer, &parts)) return status;
    if (!copy_public_key(parts.tbs, signer_key)) return TPM_ERR_CERTIFICATE;
    if (const int status = read_verified(trustx::device_cert, signer_key, &device, &parts)) return status;
    *is_verified = 1;
    return TPM_OK;
}

int trustx_save_signer_cert(const char *path) { return save(path, trustx::signer_cert); }
int trustx_save_device_cert(const char *path) { return save(path, trustx::device_cert); }
int trustx_lock_signer_cert() { return lock_slots(trustx::signer_cert, trustx::signer_cert, trustx::signer_key); }
int trustx_lock_device_cert() { return lock_slots(trustx::device_cert, trustx::device_cert, trustx::device_key); }
int trustx_export_signer_cert(const char *path) { return export_to(path, trustx::signer_cert); }
int trustx_export_device_cert(const char *path) { return export_to(path, trustx::device_cert); }

}  // namespace

tpm_cert_api_t tpm_trustx_cert_api_impl_1 = {
    .save_signer_cert = trustx_save_signer_cert,
    .save_device_cert = trustx_save_device_cert,
    .lock_signer_cert = trustx_lock_signer_cert,
    .lock_device_cert = trustx_lock_device_cert,
    .export_signer_cert = trustx_export_signer_cert,
    .export_device_cert = trustx_export_device_cert,
    .verify = trustx_verify_cert_chain,
};
