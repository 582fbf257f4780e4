// Keys, signatures, digests and base64 of the Trust X.
#include <algorithm>
#include <cstring>

#include "core/der.hpp"
#include "session.hpp"
#include "trustx.h"

namespace ostdrv::sim::trustx {
namespace {

// What libcrypto's base64 functions, which count in int, can take.
constexpr std::size_t longest_text = 1u << 30;

// The object that a key generator's private_key argument names; 0, which is none, for a null pointer.
std::uint16_t object_named_by(const void *private_key) {
    optiga_key_id_t id{};
    if (private_key) std::memcpy(&id, private_key, sizeof id);
    return static_cast<std::uint16_t>(id);
}

// Delivers bytes into a buffer of which only the capacity is known.
template <typename Size>
bool deliver(ByteView bytes, void *buffer, std::size_t capacity, Size *length) {
    if (!buffer || !length || bytes.size() > capacity) return false;
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t *>(buffer));
    *length = static_cast<Size>(bytes.size());
    return true;
}

Bytes bit_string(const PublicKey &key) {
    Bytes bytes{0x03, 0x42, 0x00, 0x04};
    append(bytes, key);
    return bytes;
}

bool generate(Object &object, std::uint8_t usage, std::uint8_t *public_key, std::uint16_t *length) {
    const auto number = p256_generate();
    const auto point = number ? p256_public_key(*number) : std::nullopt;
    if (object.kind() != Kind::key || object.locked || !point) return false;
    if (!deliver(bit_string(*point), public_key, *length, length)) return false;
    StoredKey{usage, *number}.put_into(object);
    return true;
}

bool sign(const Object &object, const std::uint8_t *digest_bytes, std::uint8_t *signature, std::uint16_t *length) {
    const auto key = StoredKey::of(object);
    if (!key || !(key->usage & OPTIGA_KEY_USAGE_SIGN)) return false;
    Digest digest;
    std::copy_n(digest_bytes, digest.size(), digest.begin());
    const auto made = p256_sign(key->number, digest);
    return made && deliver(signature_to_integers(*made), signature, *length, length);
}

bool verify(const std::uint8_t *public_key, ByteView data, ByteView integers) {
    PublicKey point;
    std::copy_n(public_key, point.size(), point.begin());
    const auto signature = signature_from_integers(integers);
    const auto digest = sha256(data);
    return signature && digest && p256_verify(point, *digest, *signature);
}

}  // namespace

extern "C" {

optiga_lib_status_t optiga_crypt_ecc_generate_keypair(optiga_ecc_curve_t curve, uint8_t key_usage,
                                                      bool export_private_key, void *private_key, uint8_t *public_key,
                                                      uint16_t *public_key_length) {
    const std::uint16_t object_id = export_private_key ? 0 : object_named_by(private_key);
    const Call call(kind, "optiga_crypt_ecc_generate_keypair", "%d, 0x%02x, %d, 0x%04x, %u", static_cast<int>(curve),
                    key_usage, export_private_key, object_id, public_key_length ? *public_key_length : 0);
    return with_object(call, object_id, [&](Object &object) {
        return curve == OPTIGA_ECC_NIST_P_256 && public_key_length &&
               generate(object, key_usage, public_key, public_key_length);
    });
}

optiga_lib_status_t optiga_crypt_ecdsa_sign(const uint8_t *digest, uint8_t digest_length, optiga_key_id_t private_key,
                                            uint8_t *signature, uint16_t *signature_length) {
    const auto object_id = static_cast<std::uint16_t>(private_key);
    const Call call(kind, "optiga_crypt_ecdsa_sign", "%u, 0x%04x, %u", digest_length, object_id,
                    signature_length ? *signature_length : 0);
    return with_object(call, object_id, [&](const Object &object) {
        return digest && digest_length == sizeof(Digest) && signature_length &&
               sign(object, digest, signature, signature_length);
    });
}

int trustX_sha256(const uint8_t *data, size_t length, uint8_t *digest, int) {
    const Call call(kind, "trustX_sha256", "%zu", length);
    return answer(call, [&] {
        const auto made = data && digest ? sha256({data, length}) : std::nullopt;
        if (made) std::copy(made->begin(), made->end(), digest);
        return made.has_value();
    });
}

int trustX_verify(const uint8_t *public_key, const uint8_t *data, size_t data_length, const uint8_t *signature,
                  size_t signature_length) {
    const Call call(kind, "trustX_verify", "%zu, %zu", data_length, signature_length);
    return answer(call, [&] {
        return public_key && data && signature &&
               verify(public_key, {data, data_length}, {signature, signature_length});
    });
}

int trustX_encodeBase64(char *text, size_t capacity, size_t *text_length, const uint8_t *bytes, size_t length) {
    const Call call(kind, "trustX_encodeBase64", "%zu, %zu", capacity, length);
    return answer(call, [&] {
        if (!bytes || length > longest_text / 2 || (length + 2) / 3 * 4 > capacity) return false;
        const std::string made = base64_encode({bytes, length});
        return deliver({reinterpret_cast<const std::uint8_t *>(made.data()), made.size()}, text, capacity, text_length);
    });
}

int trustX_decodeBase64(uint8_t *bytes, size_t capacity, size_t *bytes_length, const char *text, size_t length) {
    const Call call(kind, "trustX_decodeBase64", "%zu, %zu", capacity, length);
    return answer(call, [&] {
        const auto made = text && length <= longest_text ? base64_decode({text, length}) : std::nullopt;
        return made && deliver(*made, bytes, capacity, bytes_length);
    });
}

}  // extern "C"

}  // namespace ostdrv::sim::trustx
