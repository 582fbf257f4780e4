#include "certificates/rebuilt_certificate.hpp"

#include <algorithm>

#include "certificates/ecdsa_signature.hpp"
#include "ostdrv.h"

using namespace ostdrv;

namespace {

constexpr size_t longest_header = 4;

// AlgorithmIdentifier of ecdsa-with-SHA256 without parameters (RFC 5758).
constexpr uint8_t ecdsa_with_sha256[] = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};

// Content below 256 bytes has one length byte. Whatever does not say so is taken to have two, as certificates do.
bool has_short_header(Bytes tbs) { return tbs.size() > 1 && tbs[0] == 0x30 && tbs[1] == 0x81; }

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

uint8_t *append(uint8_t *out, Bytes bytes) { return std::copy(bytes.begin(), bytes.end(), out); }

}  // namespace

Bytes ostdrv::announced_tbs(Bytes held) {
    const auto tbs = first_element(held, has_short_header(held) ? 1 : 2);
    return tbs ? tbs->whole : Bytes{};
}

int atecc_v1_build_cert(Bytes held_tbs, const uint8_t *signature, Certificate *certificate) {
    const Bytes tbs = announced_tbs(held_tbs);
    if (tbs.empty()) return TPM_ERR_CERTIFICATE;
    const DerInteger r(signature);
    const DerInteger s(signature + 32);
    const size_t integers = r.size() + s.size() + 4;
    const size_t content = tbs.size() + sizeof ecdsa_with_sha256 + before_integers + integers;
    if (content + longest_header > sizeof certificate->der) return TPM_ERR_CERTIFICATE;

    const uint8_t signature_header[before_integers] = {0x03, static_cast<uint8_t>(integers + 3), 0x00,  // BIT STRING
                                                       0x30, static_cast<uint8_t>(integers)};           // SEQUENCE
    uint8_t *end = write_sequence_header(certificate->der, content, has_short_header(tbs));
    end = append(end, tbs);
    end = append(end, ecdsa_with_sha256);
    end = append(end, signature_header);
    end = s.write(r.write(end));
    certificate->length = static_cast<size_t>(end - certificate->der);
    return TPM_OK;
}
