#include "crypto.hpp"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <algorithm>
#include <memory>

#include "der.hpp"
#include "owned.hpp"

namespace ostdrv::sim {
namespace {

using Number = Owned<BIGNUM, BN_clear_free>;
using Group = Owned<EC_GROUP, EC_GROUP_free>;
using Point = Owned<EC_POINT, EC_POINT_free>;
using Key = Owned<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using ParameterBuilder = Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Parameters = Owned<OSSL_PARAM, OSSL_PARAM_free>;

std::optional<PrivateKey> private_number(const Key &key) {
    BIGNUM *raw = nullptr;
    if (!key || EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_PRIV_KEY, &raw) != 1) return std::nullopt;
    const Number number(raw);
    PrivateKey bytes;
    if (BN_bn2binpad(number.get(), bytes.data(), static_cast<int>(bytes.size())) < 0) return std::nullopt;
    return bytes;
}

// A key to verify with, and to sign with when `private_key` is given. Its point is checked to be on the curve.
Key make_key(const PublicKey &public_key, const PrivateKey *private_key) {
    std::array<std::uint8_t, 65> point{0x04};
    std::copy(public_key.begin(), public_key.end(), point.begin() + 1);
    const Number number(private_key ? BN_bin2bn(private_key->data(), 32, nullptr) : nullptr);

    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    if (!builder || !OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1", 0) ||
        !OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()))
        return nullptr;
    if (private_key && (!number || !OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, number.get())))
        return nullptr;

    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY *key = nullptr;
    if (!parameters || !context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, private_key ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY,
                          parameters.get()) != 1)
        return nullptr;
    return Key(key);
}

}  // namespace

std::optional<Digest> sha256(ByteView data) {
    Digest digest;
    if (EVP_Digest(data.data(), data.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) return std::nullopt;
    return digest;
}

std::optional<PrivateKey> p256_generate() {
    return private_number(Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "prime256v1")));
}

std::optional<PublicKey> p256_public_key(const PrivateKey &key) {
    const Group group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
    const Number number(BN_bin2bn(key.data(), static_cast<int>(key.size()), nullptr));
    if (!group || !number || BN_is_zero(number.get()) || BN_cmp(number.get(), EC_GROUP_get0_order(group.get())) >= 0)
        return std::nullopt;

    const Point point(EC_POINT_new(group.get()));
    std::array<std::uint8_t, 65> octets;
    if (!point || EC_POINT_mul(group.get(), point.get(), number.get(), nullptr, nullptr, nullptr) != 1 ||
        EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, octets.data(), octets.size(),
                           nullptr) != octets.size())
        return std::nullopt;
    PublicKey public_key;
    std::copy(octets.begin() + 1, octets.end(), public_key.begin());
    return public_key;
}

std::optional<Signature> p256_sign(const PrivateKey &private_key, const Digest &digest) {
    const auto public_key = p256_public_key(private_key);
    const Key key = public_key ? make_key(*public_key, &private_key) : nullptr;
    const KeyContext context(key ? EVP_PKEY_CTX_new(key.get(), nullptr) : nullptr);
    std::array<std::uint8_t, 80> der;
    std::size_t length = der.size();
    if (!context || EVP_PKEY_sign_init(context.get()) != 1 ||
        EVP_PKEY_sign(context.get(), der.data(), &length, digest.data(), digest.size()) != 1)
        return std::nullopt;
    return signature_from_der(ByteView(der.data(), length));
}

bool p256_verify(const PublicKey &public_key, const Digest &digest, const Signature &signature) {
    const Key key = make_key(public_key, nullptr);
    const KeyContext context(key ? EVP_PKEY_CTX_new(key.get(), nullptr) : nullptr);
    const Bytes der = signature_to_der(signature);
    return context && EVP_PKEY_verify_init(context.get()) == 1 &&
           EVP_PKEY_verify(context.get(), der.data(), der.size(), digest.data(), digest.size()) == 1;
}

std::string base64_encode(ByteView bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // EVP_EncodeBlock ends it with a zero byte
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<Bytes> base64_decode(std::string_view text) {
    // EVP_DecodeBlock trims blanks and takes '=' anywhere; what does not encode back to the same text is refused.
    if (text.empty()) return Bytes{};
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    if (text.size() % 4 != 0 || text.find('=') < text.size() - padding) return std::nullopt;
    Bytes bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char *>(text.data()),
                                       static_cast<int>(text.size()));
    if (length != static_cast<int>(bytes.size())) return std::nullopt;
    bytes.resize(bytes.size() - padding);
    if (base64_encode(bytes) != text) return std::nullopt;
    return bytes;
}

}  // namespace ostdrv::sim
