// What the tool does beside the secure element: digests of files, and signature and key formats that other programs
// understand.
#ifndef OSTDRV_TOOLS_CRYPTO_HPP
#define OSTDRV_TOOLS_CRYPTO_HPP

#include <string>

#include "bytes.hpp"

namespace ostdrv::tool {

std::string public_key_pem(const Bytes &point);

Bytes sha256_of_file(const std::string &path);

// Between r, s of 32 bytes each and a DER ECDSA-Sig-Value.
Bytes signature_to_der(const Bytes &signature);
Bytes signature_from_der(const Bytes &der);

bool signature_matches(const Bytes &digest, const Bytes &signature, const Bytes &point);

// A PEM signing request that is whole and signed by its own key.
bool is_signing_request(const Bytes &file);

}  // namespace ostdrv::tool

#endif
