// Where the parts of an X.509 certificate or PKCS #10 request lie, as a definition says, with every offset and length
// checked against the bytes at hand. Every function throws Refused when they do not agree.
#ifndef OSTDRV_SIM_ATECC_CERTIFICATE_SHAPE_HPP
#define OSTDRV_SIM_ATECC_CERTIFICATE_SHAPE_HPP

#include "atcacert.h"
#include "core/crypto.hpp"

namespace ostdrv::sim::atecc {

inline const atcacert_cert_loc_t &element_of(const atcacert_def_t &definition, atcacert_std_cert_element_t element) {
    return definition.std_cert_elements[element];
}

// The bytes at a location, all of them there.
ByteView bytes_at(ByteView certificate, const atcacert_cert_loc_t &location);

// The part that is signed: the first element in the certificate's SEQUENCE, and the SEQUENCE fills the certificate.
ByteView signed_part(const atcacert_def_t &definition, ByteView certificate);

// The public key, inside the signed part.
ByteView public_key_of(const atcacert_def_t &definition, ByteView certificate);

// The signature of a certificate that is signed with ECDSA and SHA-256: the last element, at the place the definition
// says. How long it is, the certificate says.
Signature signature_of(const atcacert_def_t &definition, ByteView certificate);

// The certificate with another signature in the place that the definition gives, resized as it needs.
Bytes with_signature(const atcacert_def_t &definition, ByteView certificate, const Signature &signature);

// The definition's template, when it is one that certificates can be built over.
Bytes template_of(const atcacert_def_t &definition);

}  // namespace ostdrv::sim::atecc

#endif
