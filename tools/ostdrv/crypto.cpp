#include "crypto.hpp"

#include <openssl/ecdsa.h>
#include <openssl/sha.h>

#include "error.hpp"
#include "files.hpp"
#include "openssl_objects.hpp"

namespace ostdrv::tool {
namespace {

using Signature = Owned<ECDSA_SIG *, ECDSA_SIG_free>;
using DigestContext = Owned<EVP_MD_CTX *, EVP_MD_CTX_free>;
using KeyContext = Owned<EVP_PKEY_CTX *, EVP_PKEY_CTX_free>;

constexpr std::size_t half = 32;
constexpr std::uint8_t p256_prefix[] = {0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48,
                                        0xce, 0x3d, 0x02, 0x01, 0x06, 0x08, 0x2a, 0x86, 0x48,
                                        0xce, 0x3d, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04};

EVP_PKEY *key_of_point(const Bytes &point) {
    Bytes der(std::begin(p256_prefix), std::end(p256_prefix));
    der.insert(der.end(), point.begin(), point.end());
    EVP_PKEY *const key = d2i_PUBKEY_bio(stream_of(der).get(), nullptr);
    if (!key) throw Failure("the public key is not a point of P-256");
    return key;
}

}  // namespace

std::string public_key_pem(const Bytes &point) {
    const Key key(key_of_point(point));
    return written(PEM_write_bio_PUBKEY, key.get());
}

Bytes sha256_of_file(const std::string &path) {
    const DigestContext context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    read_in_pieces(path,
                   [&context](const Bytes &piece) { EVP_DigestUpdate(context.get(), piece.data(), piece.size()); });
    Bytes digest(SHA256_DIGEST_LENGTH);
    EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
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
    const Key key(key_of_point(point));
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
