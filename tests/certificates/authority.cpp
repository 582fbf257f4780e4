#include "authority.hpp"

#include <openssl/bio.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "core/der.hpp"
#include "core/fault_plan.hpp"
#include "core/owned.hpp"

namespace ostdrv::test {
namespace {

using sim::Owned;
using Stream = Owned<BIO, BIO_free>;
using Signing = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;

template <typename... Parts>
Bytes element(std::uint8_t tag, const Parts &...parts) {
    Bytes content, whole;
    (sim::append(content, parts), ...);
    sim::append_element(whole, tag, content);
    return whole;
}

Bytes text(std::uint8_t tag, const std::string &characters) {
    return element(tag, Bytes(characters.begin(), characters.end()));
}

// One RelativeDistinguishedName: 3 is the common name, 11 the unit.
Bytes name_part(std::uint8_t kind, const std::string &value) {
    return element(0x31, element(0x30, Bytes{0x06, 0x03, 0x55, 0x04, kind}, text(0x0C, value)));
}

Bytes key_info(const PublicKey &point) {
    return element(0x30, Bytes{0x30, 0x13, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06, 0x08,
                               0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04},
                   point);
}

Bytes extensions_of(const Wishes &wishes) {
    if (!wishes.extensions) return {};
    const Bytes constraints{0x30,
                            0x0F,
                            0x06,
                            0x03,
                            0x55,
                            0x1D,
                            0x13,
                            0x01,
                            0x01,
                            0xFF,
                            0x04,
                            0x05,
                            0x30,
                            0x03,
                            0x01,
                            0x01,
                            static_cast<std::uint8_t>(wishes.authority ? 0xFF : 0x00)};
    const Bytes usage{0x30,
                      0x0B,
                      0x06,
                      0x03,
                      0x55,
                      0x1D,
                      0x0F,
                      0x04,
                      0x04,
                      0x03,
                      0x02,
                      static_cast<std::uint8_t>(wishes.authority ? 0x02 : 0x07),
                      static_cast<std::uint8_t>(wishes.authority ? 0x04 : 0x80)};
    return element(0xA3, element(0x30, constraints, usage));
}

}  // namespace

Authority::Authority(const std::string &common_name)
    : name_(common_name), key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "prime256v1"), EVP_PKEY_free) {
    std::uint8_t point[65];
    if (EVP_PKEY_get_octet_string_param(key_.get(), OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point, nullptr) != 1)
        throw std::runtime_error("no key");
    std::copy(point + 1, point + sizeof point, public_key_.begin());
}

Bytes Authority::issue(const std::string &subject, const PublicKey &subject_key, const Wishes &wishes) const {
    const Bytes ecdsa_with_sha256{0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};
    const auto make = [&](std::size_t serial_length, std::size_t padding) {
        return element(
            0x30, Bytes{0xA0, 0x03, 0x02, 0x01, 0x02}, element(0x02, Bytes(serial_length, 0x5A)), ecdsa_with_sha256,
            element(0x30, name_part(3, name_)),
            element(0x30, text(0x18, "20240101000000Z"), text(0x18, "20440101000000Z")),
            element(0x30, name_part(3, subject), padding ? name_part(11, std::string(padding, 'p')) : Bytes{}),
            key_info(subject_key), extensions_of(wishes));
    };
    std::size_t serial_length = 8;
    Bytes tbs = make(serial_length, 0);
    // Around the sizes where a length needs another byte, padding alone does not reach every size.
    for (std::size_t padding = 1; wishes.tbs_size && tbs.size() != wishes.tbs_size; ++padding) {
        if (tbs.size() > wishes.tbs_size) padding = 0, ++serial_length;
        if (serial_length > 20) throw std::runtime_error("no certificate of this size");
        tbs = make(serial_length, padding);
    }
    const sim::Digest digest = sim::sha256(tbs).value();
    const Signing signing(EVP_PKEY_CTX_new(key_.get(), nullptr));
    if (EVP_PKEY_sign_init(signing.get()) != 1) throw std::runtime_error("no signatures");
    for (;;) {
        Bytes signature(72);
        std::size_t size = signature.size();
        if (EVP_PKEY_sign(signing.get(), signature.data(), &size, digest.data(), digest.size()) != 1)
            throw std::runtime_error("no signature");
        signature.resize(size);
        const std::size_t r_length = signature[3], s_length = signature[5 + r_length];
        if ((!wishes.r_length || wishes.r_length == r_length) && (!wishes.s_length || wishes.s_length == s_length))
            return element(0x30, tbs, ecdsa_with_sha256, element(0x03, Bytes{0x00}, signature));
    }
}

std::string pem_of(const Bytes &der, const char *label) {
    const std::string base64 = sim::base64_encode(der), ends = std::string(label) + "-----\n";
    std::string pem = "-----BEGIN " + ends;
    for (std::size_t at = 0; at < base64.size(); at += 64) pem += base64.substr(at, 64) + "\n";
    return pem + "-----END " + ends;
}

Bytes der_of(const std::string &pem, const char *label) {
    sim::Unseen unseen;
    const Stream stream(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    char *name = nullptr, *header = nullptr;
    std::uint8_t *data = nullptr;
    long size = 0;
    Bytes der;
    if (PEM_read_bio(stream.get(), &name, &header, &data, &size) == 1 && std::strcmp(name, label) == 0)
        der.assign(data, data + size);
    for (void *memory : {static_cast<void *>(name), static_cast<void *>(header), static_cast<void *>(data)})
        OPENSSL_free(memory);
    return der;
}

CertificateParts parts_of(const Bytes &certificate) {
    sim::ByteView whole = certificate, rest = sim::take_element(whole).value().content;
    const auto place = [&](sim::ByteView part) { return static_cast<std::size_t>(part.data() - certificate.data()); };
    const sim::ByteView tbs = sim::take_element(rest).value().whole;
    sim::take_element(rest);
    static constexpr std::uint8_t before_key[] = {0x03, 0x42, 0x00, 0x04};
    const auto key = std::search(tbs.begin(), tbs.end(), std::begin(before_key), std::end(before_key));
    return {place(tbs), tbs.size(), place(tbs) + static_cast<std::size_t>(key - tbs.begin()) + sizeof before_key,
            place(rest) + 5};
}

bool request_is_sound(const Bytes &request, const std::string &common_name, const PublicKey &key) {
    sim::Unseen unseen;
    const std::uint8_t *position = request.data();
    const Owned<X509_REQ, X509_REQ_free> parsed(d2i_X509_REQ(nullptr, &position, static_cast<long>(request.size())));
    if (!parsed || position != request.data() + request.size()) return false;
    const Bytes info = key_info(key);
    std::uint8_t *inside = nullptr;
    const int size = i2d_X509_PUBKEY(X509_REQ_get_X509_PUBKEY(parsed.get()), &inside);
    const bool same_key = std::equal(info.begin(), info.end(), inside, inside + std::max(size, 0));
    OPENSSL_free(inside);
    char name[256];
    X509_NAME_get_text_by_NID(X509_REQ_get_subject_name(parsed.get()), NID_commonName, name, sizeof name);
    return same_key && X509_REQ_verify(parsed.get(), X509_REQ_get0_pubkey(parsed.get())) == 1 &&
           std::equal(common_name.begin(), common_name.end(), name);
}

}  // namespace ostdrv::test
