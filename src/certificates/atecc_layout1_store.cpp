#include <algorithm>
#include <span>

#include "certificates/atecc_layout1.hpp"
#include "certificates/definition.hpp"
#include "certificates/ecdsa_signature.hpp"
#include "certificates/operations.hpp"
#include "ostdrv.h"
#include "support/status.hpp"
#include "support/stream.hpp"

using namespace ostdrv;
using namespace ostdrv::layout1;

namespace {

constexpr size_t largest_der = 1024;
constexpr size_t largest_pem = 2048;

// From a signature BIT STRING's tag to its first INTEGER: tag, length and unused bits, tag and length of the SEQUENCE.
constexpr size_t to_first_integer = 5;

// A certificate file taken apart: where in the DER bytes its two parts are.
class CertificateFile {
 public:
    int read(const char *path) {
        size_t length = sizeof der_;
        if (tpm_cert_read_cert_from_file(path, der_, &length) != status_ok) return status_chip;

        atcacert_def_t definition = certificate_definition(zone_none, 0);
        if (const int status = tpm_cert_reconfig_atcacert_def(&definition, der_, length)) return status;
        const std::span<const uint8_t> der(der_, length);
        tbs_ = der.subspan(definition.tbs_cert_loc.offset, definition.tbs_cert_loc.count);
        const atcacert_cert_loc_t &bit_string = definition.std_cert_elements[STDCERT_SIGNATURE];
        signature_ = der.subspan(bit_string.offset, bit_string.count);
        return status_ok;
    }

    std::span<const uint8_t> tbs() const { return tbs_; }
    bool signature(uint8_t *out) const {
        return signature_.size() > to_first_integer && signature_from_der(signature_.subspan(to_first_integer), out);
    }

 private:
    uint8_t der_[largest_der] = {};
    std::span<const uint8_t> tbs_;
    std::span<const uint8_t> signature_;
};

// The TBS goes into consecutive slots, a chunk in each.
int write_tbs(std::span<const uint8_t> tbs, uint16_t first_slot, size_t chunk) {
    for (uint16_t slot = first_slot; !tbs.empty(); ++slot) {
        const size_t size = std::min(tbs.size(), chunk);
        if (const int status = tpm_write_slot(slot, tbs.data(), size)) return status;
        tbs = tbs.subspan(size);
    }
    return status_ok;
}

int save(const char *path, size_t tbs_capacity, uint16_t tbs_slot, size_t chunk, uint16_t signature_slot) {
    if (!path) return status_argument;
    CertificateFile certificate;
    if (const int status = certificate.read(path)) return status;

    // Everything that can be wrong with the file is found before the first slot is written.
    if (certificate.tbs().size() > tbs_capacity) return status_too_large;
    uint8_t signature[signature_size];
    if (!certificate.signature(signature)) return status_chip;

    if (const int status = write_tbs(certificate.tbs(), tbs_slot, chunk)) return status;
    return tpm_write_slot(signature_slot, signature, sizeof signature);
}

int write_pem(const char *path, const StoredCert &stored) {
    uint8_t der[largest_der] = {};
    size_t der_length = sizeof der;
    if (stored.tbs_size() == 0 || atecc_v1_build_cert(stored.tbs, stored.signature, der, &der_length) != status_ok)
        return status_certificate;
    char pem[largest_pem] = {};
    size_t pem_length = sizeof pem;
    if (atcacert_encode_pem_cert(der, der_length, pem, &pem_length) != 0 || pem_length > sizeof pem)
        return status_certificate;

    Stream file(path, "w");
    if (!file) return status_file;
    const bool whole = file.write(pem, pem_length);
    return file.close() && whole ? status_ok : status_file;
}

int lock_slots(std::span<const uint16_t> slots) {
    for (const uint16_t slot : slots)
        if (const int status = tpm_lock_slot(slot)) return status;
    return status_ok;
}

}  // namespace

int atecc_v1_save_signer_cert(const char *path) {
    return save(path, signer_tbs_capacity, signer_tbs_slot, signer_tbs_capacity, signer_signature_slot);
}

int atecc_v1_save_device_cert(const char *path) {
    return save(path, device_tbs_capacity, device_tbs_first_slot, chunk_size, device_signature_slot);
}

int atecc_v1_lock_signer_cert() {
    static constexpr uint16_t slots[] = {signer_tbs_slot, signer_signature_slot};
    return lock_slots(slots);
}

int atecc_v1_lock_device_cert() {
    static constexpr uint16_t slots[] = {11, 12, 13, 14, 15, device_signature_slot};
    return lock_slots(slots);
}

int atecc_v1_export_signer_cert(const char *path) {
    StoredCert stored;
    if (const int status = read_signer(&stored)) return status;
    return write_pem(path, stored);
}

int atecc_v1_export_device_cert(const char *path) {
    StoredCert stored;
    if (const int status = read_device(&stored)) return status;
    return write_pem(path, stored);
}
