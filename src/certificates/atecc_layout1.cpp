#include "certificates/atecc_layout1.hpp"

#include <cstring>

#include "certificates/ecdsa_signature.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::layout1;

namespace {

constexpr size_t header_size = 4;
constexpr size_t largest_content = signer_tbs_capacity - header_size;

// AlgorithmIdentifier of ecdsa-with-SHA256 without parameters (RFC 5758).
constexpr uint8_t ecdsa_with_sha256[] = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};

size_t announced_content(const uint8_t *tbs) { return static_cast<size_t>(tbs[2] << 8 | tbs[3]); }

uint8_t *append(uint8_t *out, const void *bytes, size_t size) {
    std::memcpy(out, bytes, size);
    return out + size;
}

}  // namespace

size_t StoredCert::tbs_size() const {
    const size_t size = announced_content(tbs) + header_size;
    return size <= tbs_held ? size : 0;
}

int layout1::read_signer(StoredCert *cert) {
    cert->tbs_held = signer_tbs_capacity;
    if (const int status = tpm_read_slot(signer_tbs_slot, cert->tbs, &cert->tbs_held)) return status;
    size_t length = sizeof cert->signature;
    return tpm_read_slot(signer_signature_slot, cert->signature, &length);
}

int layout1::read_device(StoredCert *cert) {
    cert->tbs_held = device_tbs_capacity;
    size_t length = sizeof cert->signature;
    return atecc_v1_read_device_cert_parts(cert->tbs, cert->signature, &length);
}

int atecc_v1_read_device_cert_parts(uint8_t *tbs, uint8_t *signature, size_t *signature_len) {
    for (uint16_t slot = device_tbs_first_slot; slot <= device_tbs_last_slot; ++slot, tbs += chunk_size) {
        size_t length = chunk_size;
        if (const int status = tpm_read_slot(slot, tbs, &length)) return status;
        if (length != chunk_size) return status_buffer;
    }
    return tpm_read_slot(device_signature_slot, signature, signature_len);
}

int atecc_v1_build_cert(const uint8_t *tbs, const uint8_t *signature, uint8_t *cert, size_t *cert_len) {
    const size_t content = announced_content(tbs);
    if (content > largest_content) return status_certificate;
    const DerInteger r(signature);
    const DerInteger s(signature + 32);
    const size_t integers = r.size() + s.size() + 4;
    const size_t total = content + integers + 25;
    if (total > *cert_len) return status_certificate;

    const uint8_t outer_header[] = {0x30, 0x82, static_cast<uint8_t>((total - header_size) >> 8),
                                    static_cast<uint8_t>(total - header_size)};
    const uint8_t signature_header[] = {0x03, static_cast<uint8_t>(integers + 3), 0x00,  // BIT STRING
                                        0x30, static_cast<uint8_t>(integers)};           // SEQUENCE
    uint8_t *end = append(cert, outer_header, sizeof outer_header);
    end = append(end, tbs, content + header_size);
    end = append(end, ecdsa_with_sha256, sizeof ecdsa_with_sha256);
    end = append(end, signature_header, sizeof signature_header);
    end = s.write(r.write(end));
    *cert_len = total;
    return status_ok;
}
