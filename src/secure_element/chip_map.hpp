// What the two chips hold, where, and in which sizes: every number that belongs to a chip rather than to one function.
#ifndef OSTDRV_SECURE_ELEMENT_CHIP_MAP_HPP
#define OSTDRV_SECURE_ELEMENT_CHIP_MAP_HPP

#include <cstddef>
#include <cstdint>

namespace ostdrv {

// On both chips.
inline constexpr std::uint16_t public_key_size = 64;  // P-256: X then Y
inline constexpr std::uint16_t signature_size = 64;   // ECDSA: r then s
inline constexpr std::size_t digest_size = 32;        // SHA-256
inline constexpr std::size_t largest_transfer = 1024;

}  // namespace ostdrv

namespace ostdrv::atecc {

// Data slots. Those from 8 on hold the certificates, as each layout says.
inline constexpr std::uint16_t device_key_slot = 0;
inline constexpr std::uint16_t serial_number_slot = 7;
inline constexpr int slot_count = 16;
inline constexpr std::size_t large_slot_size = 416;       // slot 8
inline constexpr std::size_t certificate_slot_size = 72;  // slots 9 to 15

// Zones, which the questions for locks number otherwise than the transfers.
inline constexpr std::uint8_t config_zone_lock = 0;
inline constexpr std::uint8_t data_zone_lock = 1;
inline constexpr std::uint8_t data_zone = 2;

inline constexpr std::size_t config_size = 128;
inline constexpr std::size_t model_byte = 13;
inline constexpr std::uint8_t model_508a = 0xC0;

// Where the board has it on I2C unless the device tree says otherwise.
inline constexpr int i2c_bus = 2;
inline constexpr int i2c_address = 0x60;

}  // namespace ostdrv::atecc

namespace ostdrv::trustx {

// Objects: each certificate, whole and in DER, with the key that is locked together with it, and two of data.
inline constexpr std::uint16_t device_cert = 0xE0E1, device_key = 0xE0F1;
inline constexpr std::uint16_t signer_cert = 0xE0E2, signer_key = 0xE0F2;
inline constexpr std::uint16_t serial_number = 0xF1D0;
inline constexpr std::uint16_t device_public_key = 0xF1D6;  // as SubjectPublicKeyInfo
inline constexpr int slot_count = 8;

// An object is written in pieces; the first erases it.
inline constexpr std::size_t largest_piece = 256;
inline constexpr std::uint8_t erase_and_write = 0x40;
inline constexpr std::uint8_t write_only = 0x00;

}  // namespace ostdrv::trustx

#endif
