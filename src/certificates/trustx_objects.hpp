// Where a Trust X keeps the chain.
#ifndef OSTDRV_CERTIFICATES_TRUSTX_OBJECTS_HPP
#define OSTDRV_CERTIFICATES_TRUSTX_OBJECTS_HPP

#include <cstddef>
#include <cstdint>

namespace ostdrv::trustx {

// Each certificate, whole and in DER, and the key object locked together with it.
inline constexpr std::uint16_t device_cert = 0xE0E1, device_key = 0xE0F1;
inline constexpr std::uint16_t signer_cert = 0xE0E2, signer_key = 0xE0F2;

inline constexpr std::size_t largest_certificate = 1024;

}  // namespace ostdrv::trustx

#endif
