#include "certificates/atecc_layout1.hpp"

#include <cstring>

#include "certificates/ecdsa_signature.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::layout1;

namespace {

// A SEQUENCE's tag and two-byte length. Content below 256 bytes has a one-byte length and a header of one byte less.
constexpr size_t header_size = 4;
constexpr size_t short_header_size = 3;

// AlgorithmIdentifier of ecdsa-with-SHA256 without parameters (RFC 5758).
constexpr uint8_t ecdsa_with_sha256[] = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};

bool has_short_header(const uint8_t *tbs) { return tbs[0] == 0x30 && tbs[1] == 0x81; }

// Header and content, as the TBS announces them. Whatever is not a short header is taken for a long one.
size_t announced_size(const uint8_t *tbs) {
    if (has_short_header(tbs)) return tbs[2] + short_header_size;
    return static_cast<size_t>(tbs[2] << 8 | tbs[3]) + header_size;
}

uint8_t *write_sequence_header(uint8_t *out, size_t content, bool may_be_short) {
    *out++ = 0x30;
    if (may_be_short && content <= UINT8_MAX) {
        *out++ = 0x81;
    } else {
        *out++ = 0x82;
        *out++ = static_cast<uint8_t>(content >> 8);
    }
    *out++ = static_cast<uint8_t>(content);
    return out;
}

uint8_t *append(uint8_t *out, const void *bytes, size_t size) {
    std::memcpy(out, bytes, size);
    return out + size;
}

}  // namespace

size_t StoredCert::tbs_size() const {
    const size_t size = announced_size(tbs);
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
    const size_t tbs_size = announced_size(tbs);
    if (tbs_size > signer_tbs_capacity) return status_certificate;
    const DerInteger r(signature);
    const DerInteger s(signature + 32);
    const size_t integers = r.size() + s.size() + 4;
    const size_t content = tbs_size + sizeof ecdsa_with_sha256 + integers + 5;
    if (content + header_size > *cert_len) return status_certificate;

    const uint8_t signature_header[] = {0x03, static_cast<uint8_t>(integers + 3), 0x00,  // BIT STRING
                                        0x30, static_cast<uint8_t>(integers)};           // SEQUENCE
    uint8_t *end = write_sequence_header(cert, content, has_short_header(tbs));
    end = append(end, tbs, tbs_size);
    end = append(end, ecdsa_with_sha256, sizeof ecdsa_with_sha256);
    end = append(end, signature_header, sizeof signature_header);
    end = s.write(r.write(end));
    *cert_len = static_cast<size_t>(end - cert);
    return status_ok;
}
