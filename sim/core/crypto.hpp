// What the simulated chips compute: SHA-256, ECDSA over P-256 and base64, from libcrypto.
//
// Every function that can fail returns nothing when libcrypto fails, as for lack of memory.
#ifndef OSTDRV_SIM_CRYPTO_HPP
#define OSTDRV_SIM_CRYPTO_HPP

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostdrv::sim {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

using Digest = std::array<std::uint8_t, 32>;
using PrivateKey = std::array<std::uint8_t, 32>;  // big-endian
using PublicKey = std::array<std::uint8_t, 64>;   // X then Y, big-endian
using Signature = std::array<std::uint8_t, 64>;   // r then s, big-endian

std::optional<Digest> sha256(ByteView data);

std::optional<PrivateKey> p256_generate();
// Nothing also for a number that is no private key: 0, or the group's order and above.
std::optional<PublicKey> p256_public_key(const PrivateKey &key);
std::optional<Signature> p256_sign(const PrivateKey &key, const Digest &digest);
// False also for a key that is no point of the curve.
bool p256_verify(const PublicKey &key, const Digest &digest, const Signature &signature);

// One unbroken run of text.
std::string base64_encode(ByteView bytes);
// Of an unbroken run with its padding and nothing else; the bits that the padding leaves over are zero.
std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace ostdrv::sim

#endif
