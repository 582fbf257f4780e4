#include <cstring>

#include "certificates/atecc_layout0.hpp"
#include "certificates/operations.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::layout0;

namespace {

// A rebuilt certificate. Its length starts as the buffer's capacity.
struct Certificate {
    uint8_t der[largest_der] = {};
    size_t length = sizeof der;
};

bool issued_by(const atcacert_def_t &cert_def, const Certificate &certificate, const uint8_t *issuer_key) {
    return atcacert_verify_cert_hw(&cert_def, certificate.der, certificate.length, issuer_key) == 0;
}

bool take_public_key(const atcacert_def_t &cert_def, const Certificate &certificate, uint8_t *key) {
    const size_t offset = cert_def.std_cert_elements[STDCERT_PUBLIC_KEY].offset;
    if (offset + public_key_size > certificate.length) return false;
    std::memcpy(key, certificate.der + offset, public_key_size);
    return true;
}

}  // namespace

int atecc_v0_verify_cert_chain(const uint8_t *ca_public_key, const char *const *cert_paths, uint8_t *is_verified) {
    if (!ca_public_key || !cert_paths || !cert_paths[0] || !cert_paths[1] || !is_verified) return status_argument;
    *is_verified = 0;

    atcacert_def_t cert_def = definition;
    Certificate signer;
    if (atecc_v0_load_cert(&cert_def, cert_paths[0], signer_slot, signer_key_slot, signer.der, &signer.length) != 0)
        return status_chip;
    if (!issued_by(cert_def, signer, ca_public_key)) return status_ok;

    uint8_t signer_key[public_key_size] = {};
    size_t key_length = sizeof signer_key;
    if (tpm_read_slot(signer_key_slot, signer_key, &key_length) != status_ok) return status_chip;

    Certificate device;
    if (atecc_v0_load_cert(&cert_def, cert_paths[1], device_slot, generated_key, device.der, &device.length) != 0)
        return status_chip;
    if (!issued_by(cert_def, device, signer_key)) return status_ok;

    uint8_t device_key[public_key_size] = {};
    if (!take_public_key(cert_def, device, device_key)) return status_chip;
    return __cert_challenge(device_key, is_verified);
}
