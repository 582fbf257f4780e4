#include "crypto.hpp"

#include <openssl/bio.h>
#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <memory>

namespace ostdrv::tool {
namespace {

template <auto release>
struct Releaser {
    template <typename Object>
    void operator()(Object *object) const {
        release(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using Request = std::unique_ptr<X509_REQ, Releaser<X509_REQ_free>>;
using Stream = std::unique_ptr<BIO, Releaser<BIO_free_all>>;
using Signature = std::unique_ptr<ECDSA_SIG, Releaser<ECDSA_SIG_free>>;
using Number = std::unique_ptr<BIGNUM, Releaser<BN_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Releaser<EVP_PKEY_CTX_free>>;

constexpr std::size_t half = 32;
constexpr std::uint8_t p256_prefix[] = {0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48,
                                        0xce, 0x3d, 0x02, 0x01, 0x06, 0x08, 0x2a, 0x86, 0x48,
                                        0xce, 0x3d, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04};

Stream stream_of(const Bytes &bytes) { return Stream(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()))); }

Key key_of_certificate(Certificate certificate) {
    return Key(certificate ? X509_get_pubkey(certificate.get()) : nullptr);
}

// Each form in turn, whatever the file is called.
Key parse_public_key(const Bytes &file) {
    if (Key key = key_of_certificate(Certificate(PEM_read_bio_X509(stream_of(file).get(), nullptr, nullptr, nullptr))))
        return key;
    if (Key key{PEM_read_bio_PUBKEY(stream_of(file).get(), nullptr, nullptr, nullptr)}) return key;
    if (Key key = key_of_certificate(Certificate(d2i_X509_bio(stream_of(file).get(), nullptr)))) return key;
    return Key(d2i_PUBKEY_bio(stream_of(file).get(), nullptr));
}

bool is_p256(const EVP_PKEY *key) {
    char group[32] = "";
    return EVP_PKEY_get_utf8_string_param(key, OSSL_PKEY_PARAM_GROUP_NAME, group, sizeof group, nullptr) == 1 &&
           std::string_view(group) == SN_X9_62_prime256v1;
}

bool coordinate(const EVP_PKEY *key, const char *name, std::uint8_t *bytes) {
    BIGNUM *number = nullptr;
    const bool found = EVP_PKEY_get_bn_param(key, name, &number) == 1;
    const Number owner(number);
    return found && BN_bn2binpad(number, bytes, half) == half;
}

Key key_of_point(const Bytes &point) {
    Bytes der(std::begin(p256_prefix), std::end(p256_prefix));
    der.insert(der.end(), point.begin(), point.end());
    Key key(d2i_PUBKEY_bio(stream_of(der).get(), nullptr));
    if (!key) throw Failure("the public key is not a point of P-256");
    return key;
}

}  // namespace

Bytes read_public_key(const std::string &path) {
    const Key key = parse_public_key(read_file(path));
    if (!key) throw Failure(path + " holds neither a certificate nor a public key");
    Bytes point(2 * half);
    if (!is_p256(key.get()) || !coordinate(key.get(), OSSL_PKEY_PARAM_EC_PUB_X, point.data()) ||
        !coordinate(key.get(), OSSL_PKEY_PARAM_EC_PUB_Y, point.data() + half))
        throw Failure("the key in " + path + " is not a P-256 key");
    return point;
}

std::string public_key_pem(const Bytes &point) {
    const Stream text(BIO_new(BIO_s_mem()));
    PEM_write_bio_PUBKEY(text.get(), key_of_point(point).get());
    char *data = nullptr;
    const long length = BIO_get_mem_data(text.get(), &data);
    return std::string(data, static_cast<std::size_t>(length));
}

Bytes sha256(const Bytes &data) {
    Bytes digest(SHA256_DIGEST_LENGTH);
    SHA256(data.data(), data.size(), digest.data());
    return digest;
}

Bytes signature_to_der(const Bytes &signature) {
    const Signature parts(ECDSA_SIG_new());
    ECDSA_SIG_set0(parts.get(), BN_bin2bn(signature.data(), half, nullptr),
                   BN_bin2bn(signature.data() + half, half, nullptr));
    Bytes der(static_cast<std::size_t>(i2d_ECDSA_SIG(parts.get(), nullptr)));
    std::uint8_t *end = der.data();
    i2d_ECDSA_SIG(parts.get(), &end);
    return der;
}

Bytes signature_from_der(const Bytes &der) {
    const std::uint8_t *start = der.data();
    const Signature parts(d2i_ECDSA_SIG(nullptr, &start, static_cast<long>(der.size())));
    Bytes signature(2 * half);
    if (!parts || BN_bn2binpad(ECDSA_SIG_get0_r(parts.get()), signature.data(), half) < 0 ||
        BN_bn2binpad(ECDSA_SIG_get0_s(parts.get()), signature.data() + half, half) < 0)
        throw Failure("the signature is neither 64 bytes nor a DER signature of P-256");
    return signature;
}

bool signature_matches(const Bytes &digest, const Bytes &signature, const Bytes &point) {
    const Key key = key_of_point(point);
    const KeyContext context(EVP_PKEY_CTX_new(key.get(), nullptr));
    const Bytes der = signature_to_der(signature);
    return EVP_PKEY_verify_init(context.get()) == 1 &&
           EVP_PKEY_verify(context.get(), der.data(), der.size(), digest.data(), digest.size()) == 1;
}

bool is_signing_request(const Bytes &file) {
    const Request request(PEM_read_bio_X509_REQ(stream_of(file).get(), nullptr, nullptr, nullptr));
    return request && X509_REQ_verify(request.get(), X509_REQ_get0_pubkey(request.get())) == 1;
}

}  // namespace ostdrv::tool
