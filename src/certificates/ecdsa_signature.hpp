// The two forms of an ECDSA P-256 signature: r and s as 32 bytes each, big-endian, and as DER INTEGERs (RFC 3279).
#ifndef OSTDRV_CERTIFICATES_ECDSA_SIGNATURE_HPP
#define OSTDRV_CERTIFICATES_ECDSA_SIGNATURE_HPP

#include <cstddef>
#include <cstdint>

#include "certificates/der.hpp"

namespace ostdrv {

// From a signature BIT STRING's tag to its first INTEGER: tag, length and unused bits, tag and length of the SEQUENCE.
inline constexpr std::size_t before_integers = 5;

// Reads two consecutive INTEGERs from the start of `der` into 64 bytes. False when they are not there.
bool signature_from_der(Bytes der, std::uint8_t *signature);

// One 32-byte value as the content of a minimal INTEGER.
class DerInteger {
 public:
    explicit DerInteger(const std::uint8_t *value);
    std::size_t size() const { return size_; }
    // Tag, length and content: size() + 2 bytes. Returns the place behind them.
    std::uint8_t *write(std::uint8_t *out) const;

 private:
    std::uint8_t content_[33];
    std::size_t size_;
};

}  // namespace ostdrv

#endif
