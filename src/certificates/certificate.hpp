// A certificate in the library's hands.
#ifndef OSTDRV_CERTIFICATES_CERTIFICATE_HPP
#define OSTDRV_CERTIFICATES_CERTIFICATE_HPP

#include "certificates/der.hpp"

namespace ostdrv {

// DER bytes, zero where there are none yet.
struct Certificate {
    // Zeroed by the constructor: an initialiser here makes the compiler keep a kilobyte of zeros to copy it from.
    std::uint8_t der[1024];           // NOLINT(modernize-use-default-member-init)
    std::size_t length = sizeof der;  // the capacity until the certificate is there

    Certificate() : der{} {}
    Bytes bytes() const { return {der, length}; }
};

}  // namespace ostdrv

#endif
