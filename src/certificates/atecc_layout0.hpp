// Layout 0: certificates in the chip library's compressed form, rebuilt over a template that the host keeps as a PEM
// file or, behind the USB kit, in the kit's EEPROM.
#ifndef OSTDRV_CERTIFICATES_ATECC_LAYOUT0_HPP
#define OSTDRV_CERTIFICATES_ATECC_LAYOUT0_HPP

#include <cryptoauthlib.h>

#include <cstddef>
#include <cstdint>

#include "certificates/definition.hpp"

namespace ostdrv::layout0 {

inline constexpr std::uint8_t device_slot = 9;
inline constexpr std::uint8_t signer_slot = 10;
inline constexpr std::uint8_t signer_key_slot = 11;
// The device's public key is not stored: the chip computes it from the private key.
inline constexpr std::uint8_t generated_key = 0;

inline constexpr std::size_t largest_der = 1024;

inline constexpr atcacert_def_t definition = certificate_definition(zone_data, device_slot);

}  // namespace ostdrv::layout0

// Stores the PEM certificate at path. Statuses as of tpm_cert_save_signer_cert.
int atecc_v0_store_cert(const char *path, std::uint8_t comp_cert_slot, std::uint8_t public_key_slot);

// Rebuilds a stored certificate over its template. *cert_len: capacity, then its length. cert_def, a copy of the
// definition, afterwards says where the certificate's elements are.
int atecc_v0_load_cert(atcacert_def_t *cert_def, const char *path, std::uint8_t comp_cert_slot,
                       std::uint8_t public_key_slot, std::uint8_t *cert, std::size_t *cert_len);

#endif
