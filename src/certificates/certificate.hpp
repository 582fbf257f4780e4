// A certificate in the library's hands.
#ifndef OSTDRV_CERTIFICATES_CERTIFICATE_HPP
#define OSTDRV_CERTIFICATES_CERTIFICATE_HPP

#include "certificates/der.hpp"

namespace ostdrv {

// DER bytes, zero where there are none yet.
struct Certificate {
    std::uint8_t der[1024];
    std::size_t length = sizeof der;  // the capacity until the certificate is there

    // Where the member says this itself, the compiler keeps a kilobyte of zeros to copy it from.
    Certificate() : der{} {}  // NOLINT(modernize-use-default-member-init)
    Bytes bytes() const { return {der, length}; }
};

}  // namespace ostdrv

#endif
