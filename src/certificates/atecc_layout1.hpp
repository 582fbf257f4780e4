// Layout 1: each certificate as its to-be-signed part (TBS) and its signature, from which the chip alone gives the
// whole certificate back.
#ifndef OSTDRV_CERTIFICATES_ATECC_LAYOUT1_HPP
#define OSTDRV_CERTIFICATES_ATECC_LAYOUT1_HPP

#include <cstddef>
#include <cstdint>

namespace ostdrv::layout1 {

inline constexpr std::uint16_t signer_tbs_slot = 8;
inline constexpr std::uint16_t signer_signature_slot = 10;
inline constexpr std::uint16_t device_signature_slot = 9;

// The device's TBS is cut into chunks that fill these slots in turn.
inline constexpr std::uint16_t device_tbs_first_slot = 11;
inline constexpr std::uint16_t device_tbs_last_slot = 15;
inline constexpr std::size_t chunk_size = 72;

inline constexpr std::size_t signer_tbs_capacity = 416;
inline constexpr std::size_t device_tbs_capacity = 360;

// One certificate as the chip holds it.
struct StoredCert {
    std::uint8_t tbs[signer_tbs_capacity] = {};
    std::size_t tbs_held = 0;  // bytes of tbs that came from the chip
    std::uint8_t signature[64] = {};

    // The TBS with its header, by the two length bytes in it; 0 when they announce more than the chip holds.
    std::size_t tbs_size() const;
};

// Status of the slot reads.
int read_signer(StoredCert *cert);
int read_device(StoredCert *cert);

}  // namespace ostdrv::layout1

// Reads 360 bytes of TBS and the signature. *signature_len: capacity, then the bytes read. Status of the slot reads,
// or 5 when a slot gives other than 72 bytes.
int atecc_v1_read_device_cert_parts(std::uint8_t *tbs, std::uint8_t *signature, std::size_t *signature_len);

// Puts a certificate together. *cert_len: capacity, then its length. 0, or 15 when it cannot be made. The caller sees
// to it that as many bytes as the TBS announces are there.
int atecc_v1_build_cert(const std::uint8_t *tbs, const std::uint8_t *signature, std::uint8_t *cert,
                        std::size_t *cert_len);

#endif
