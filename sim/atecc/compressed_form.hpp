// The compressed form of a certificate: 72 bytes that, with its public key, make a template the certificate.
#ifndef OSTDRV_SIM_ATECC_COMPRESSED_FORM_HPP
#define OSTDRV_SIM_ATECC_COMPRESSED_FORM_HPP

#include "atcacert.h"
#include "core/crypto.hpp"

namespace ostdrv::sim {

// r and s (64 bytes), dates (3), signer id (2), template and chain id (1), serial number's source and format (1),
// reserved (1). Dates: year since 2000, month, day, hour and years until expiry in 5, 4, 5, 5 and 5 bits. What a
// definition has no element for is 0.
using CompressedForm = std::array<std::uint8_t, 72>;

// Both throw Refused: for a certificate that this form cannot hold, and for a form that no certificate of the
// definition has.
CompressedForm compress(const atcacert_def_t &definition, ByteView certificate);
Bytes expand(const atcacert_def_t &definition, const CompressedForm &form, Bytes certificate);

}  // namespace ostdrv::sim

#endif
