#include <cstring>

#include "certificates/asn1_listing.hpp"
#include "ostdrv.h"
#include "secure_element/chip_map.hpp"

using namespace ostdrv;

namespace {

constexpr long key_size = public_key_size;
constexpr long largest_offset = UINT16_MAX;

bool names_ec_key(const Asn1Element &element) {
    constexpr char name[] = "id-ecPublicKey";
    return std::strncmp(element.value, name, sizeof name - 1) == 0;
}

// Two lines follow the one that announces an element: its object identifier and then the element itself.
class LineAfterNext {
 public:
    void announced_by(const Asn1Element &element) { line_ = element.line + 2; }
    bool is(const Asn1Element &element) const { return element.line == line_; }

 private:
    int line_ = -1;
};

bool lies_inside(long offset, long size, size_t der_len) {
    return offset >= 0 && size >= 0 && offset + size <= static_cast<long>(der_len) && offset + size <= largest_offset;
}

bool locate(atcacert_cert_loc_t *location, long offset, long size, size_t der_len) {
    if (!lies_inside(offset, size, der_len)) return false;
    location->offset = static_cast<uint16_t>(offset);
    location->count = static_cast<uint16_t>(size);
    return true;
}

struct Locations {
    atcacert_cert_loc_t tbs;
    atcacert_cert_loc_t public_key;
    atcacert_cert_loc_t signature;
};

// The places are known by their position: the to-be-signed part is the second line; a key's algorithm has two object
// identifiers and is followed by the key; the signature's algorithm follows the to-be-signed part, has one object
// identifier and is followed by the signature.
int find_locations(Bytes der, Locations *found) {
    long tbs_end = -1;
    LineAfterNext key;
    LineAfterNext signature;
    bool inside = true;
    const int status = for_each_asn1_element(der, [&](const Asn1Element &e) {
        if (e.line == 1) {
            inside = locate(&found->tbs, e.offset, e.size(), der.size());
            tbs_end = e.end();
        } else if (names_ec_key(e)) {
            key.announced_by(e);
        } else if (key.is(e)) {
            inside = locate(&found->public_key, e.end() - key_size, key_size, der.size());
        } else if (e.offset == tbs_end) {
            signature.announced_by(e);
        } else if (signature.is(e)) {
            inside = locate(&found->signature, e.offset, e.size(), der.size());
        }
        return inside;
    });
    return inside ? status : TPM_ERR_FILE;
}

}  // namespace

int tpm_cert_reconfig_atcacert_def(atcacert_def_t *cert_def, const uint8_t *der, size_t der_len) {
    atcacert_cert_loc_t *const elements = cert_def->std_cert_elements;
    Locations found = {cert_def->tbs_cert_loc, elements[STDCERT_PUBLIC_KEY], elements[STDCERT_SIGNATURE]};
    if (const int status = find_locations({der, der_len}, &found)) return status;

    cert_def->tbs_cert_loc = found.tbs;
    elements[STDCERT_PUBLIC_KEY] = found.public_key;
    elements[STDCERT_SIGNATURE] = found.signature;
    return TPM_OK;
}

int tpm_get_pubkey_from_tbs(const uint8_t *der, size_t der_len, uint8_t *public_key) {
    LineAfterNext key;
    return for_each_asn1_element(Bytes{der, der_len}, [&](const Asn1Element &e) {
        if (names_ec_key(e)) {
            key.announced_by(e);
        } else if (key.is(e)) {
            // A place that is none holds no key.
            const long offset = e.end() - key_size;
            if (lies_inside(offset, key_size, der_len)) std::memcpy(public_key, der + offset, public_key_size);
            return false;
        }
        return true;
    });
}
