// The compressed form of a certificate: 72 bytes that, with its public key, make a template the certificate.
#ifndef OSTDRV_SIM_ATECC_COMPRESSED_FORM_HPP
#define OSTDRV_SIM_ATECC_COMPRESSED_FORM_HPP

#include "atcacert.h"
#include "core/crypto.hpp"

namespace ostdrv::sim::atecc {

// r and s (64 bytes), dates (3), signer id (2), template and chain id (1), serial number's source and format (1),
// reserved (1). Dates and signer id are 0: they are the template's, and a definition that has them is refused.
using CompressedForm = std::array<std::uint8_t, 72>;

// Both throw Refused: for a certificate that is not the definition's, and for a form that no certificate of it has.
CompressedForm compress(const atcacert_def_t &definition, ByteView certificate);
Bytes expand(const atcacert_def_t &definition, const CompressedForm &form, ByteView certificate);

}  // namespace ostdrv::sim::atecc

#endif
