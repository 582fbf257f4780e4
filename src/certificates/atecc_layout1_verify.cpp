#include "certificates/atecc_layout1.hpp"
#include "certificates/operations.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::layout1;

namespace {

// Whether the issuer's key signed the stored certificate, and if so the key in it.
int verify_stored(const StoredCert &cert, const uint8_t *issuer_key, bool *verified, uint8_t *subject_key) {
    const size_t size = cert.tbs_size();
    if (size == 0) return status_certificate;

    uint8_t digest[32] = {};
    if (atcac_sw_sha2_256(cert.tbs, size, digest) != 0) return status_chip;
    if (const int status = tpm_verify_with_ext_public_key_atecc(digest, cert.signature, issuer_key, verified))
        return status;
    return *verified ? tpm_get_pubkey_from_tbs(cert.tbs, size, subject_key) : status_ok;
}

}  // namespace

int atecc_v1_verify_cert_chain(const uint8_t *ca_public_key, const char *const *, uint8_t *is_verified) {
    if (!ca_public_key || !is_verified) return status_argument;
    *is_verified = 0;

    StoredCert cert;
    bool verified = false;
    uint8_t signer_key[64] = {};
    if (const int status = read_signer(&cert)) return status;
    if (const int status = verify_stored(cert, ca_public_key, &verified, signer_key)) return status;
    if (!verified) return status_ok;

    verified = false;
    uint8_t device_key[64] = {};
    if (const int status = read_device(&cert)) return status;
    if (const int status = verify_stored(cert, signer_key, &verified, device_key)) return status;
    if (!verified) return status_ok;

    return __cert_challenge(device_key, is_verified);
}
