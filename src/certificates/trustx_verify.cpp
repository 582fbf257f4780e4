// Verification of the chain on a Trust X.
#include <trustx.h>

#include <algorithm>
#include <span>

#include "certificates/operations.hpp"
#include "certificates/trustx_objects.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::trustx;

namespace {

using Bytes = std::span<const uint8_t>;

struct Parts {
    Bytes tbs;       // the whole to-be-signed element
    Bytes integers;  // r and s of the signature
};

struct Header {
    size_t size;
    size_t content;
};

// Certificates are long enough for a header of one (81) or two (82) length bytes; no other form is looked for.
bool read_header(Bytes bytes, Header *header) {
    if (bytes.size() < 4) return false;
    if ((bytes[1] & 0x0f) == 1)
        *header = {3, bytes[2]};
    else
        *header = {4, static_cast<size_t>(bytes[2] << 8 | bytes[3])};
    return header->content <= bytes.size() - header->size;
}

// False when a header announces more than there is.
bool locate_parts(Bytes certificate, Parts *parts) {
    Header outer, inner;
    if (!read_header(certificate, &outer)) return false;
    const Bytes content = certificate.subspan(outer.size);
    if (!read_header(content, &inner)) return false;
    parts->tbs = content.first(inner.size + inner.content);

    // The algorithm with its tag and length, then five bytes of BIT STRING and SEQUENCE headers around the INTEGERs.
    const Bytes rest = content.subspan(parts->tbs.size());
    if (rest.size() < 2 || rest.size() < rest[1] + size_t{7}) return false;
    parts->integers = rest.subspan(rest[1] + size_t{7});
    return true;
}

bool copy_public_key(Bytes tbs, uint8_t *public_key) {
    constexpr uint8_t before_key[] = {0x03, 0x42, 0x00, 0x04};
    constexpr size_t search_at = 160, search_size = 20, key_size = 64;
    if (tbs.size() < search_at + search_size) return false;
    const Bytes range = tbs.subspan(search_at, search_size);
    const auto found = std::search(range.begin(), range.end(), std::begin(before_key), std::end(before_key));
    if (found == range.end()) return false;

    const Bytes key = tbs.subspan(search_at + static_cast<size_t>(found - range.begin()) + sizeof before_key);
    if (key.size() < key_size) return false;
    std::copy_n(key.begin(), key_size, public_key);
    return true;
}

// Reads a certificate and checks its signature with the issuer's key.
int read_verified(uint16_t object, uint8_t *buffer, const uint8_t *issuer_key, Parts *parts) {
    size_t length = largest_certificate;
    const int status = tpm_read_slot(object, buffer, &length);
    if (status != 0) return status;

    const bool verified =
        locate_parts({buffer, length}, parts) && trustX_verify(issuer_key, parts->tbs.data(), parts->tbs.size(),
                                                               parts->integers.data(), parts->integers.size()) == 0;
    return verified ? status_ok : status_certificate;
}

}  // namespace

int trustx_verify_cert_chain(const uint8_t *ca_public_key, const char *const *, uint8_t *is_verified) {
    if (!ca_public_key || !is_verified) return status_argument;

    uint8_t certificate[largest_certificate] = {}, public_key[64] = {};
    Parts parts;
    int status = read_verified(signer_cert, certificate, ca_public_key, &parts);
    if (status != 0) return status;
    if (!copy_public_key(parts.tbs, public_key)) return status_certificate;

    status = read_verified(device_cert, certificate, public_key, &parts);
    if (status != 0) return status;
    *is_verified = 1;
    return status_ok;
}
