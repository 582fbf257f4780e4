#include "authority.hpp"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "core/fault_plan.hpp"
#include "core/owned.hpp"

namespace ostdrv::test {
namespace {

using sim::Owned;

using Certificate = Owned<X509, X509_free>;
using Stream = Owned<BIO, BIO_free>;
using PublicHalf = Owned<EVP_PKEY, EVP_PKEY_free>;

// Nothing here is allowed to fail: a broken helper is a broken test.
void must(bool ok, const char *what) {
    if (!ok) throw std::runtime_error(what);
}

PublicHalf key_from(const PublicKey &point) {
    // A SubjectPublicKeyInfo of P-256, up to X and Y.
    Bytes info{0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06,
               0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04};
    info.insert(info.end(), point.begin(), point.end());
    const std::uint8_t *position = info.data();
    PublicHalf key(d2i_PUBKEY(nullptr, &position, static_cast<long>(info.size())));
    must(key != nullptr, "not a point of the curve");
    return key;
}

void add_name(X509_NAME *name, const char *field, const std::string &text) {
    // Given as it is, a text may be longer than the attribute's own limit.
    must(X509_NAME_add_entry_by_txt(name, field, V_ASN1_UTF8STRING, reinterpret_cast<const std::uint8_t *>(text.data()),
                                    static_cast<int>(text.size()), -1, 0) == 1,
         "name");
}

void add_extension(X509 *certificate, X509V3_CTX *context, int nid, const std::string &value) {
    Owned<X509_EXTENSION, X509_EXTENSION_free> extension(X509V3_EXT_conf_nid(nullptr, context, nid, value.c_str()));
    must(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

void add_extensions(X509 *certificate, const Wishes &wishes, std::size_t padding) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    add_extension(certificate, &context, NID_basic_constraints, wishes.authority ? "critical,CA:TRUE" : "CA:FALSE");
    add_extension(certificate, &context, NID_key_usage, wishes.authority ? "keyCertSign" : "digitalSignature");
    add_extension(certificate, &context, NID_subject_key_identifier, "hash");
    if (padding) add_extension(certificate, &context, NID_netscape_comment, std::string(padding, 'p'));
}

template <typename Encode, typename Object>
Bytes encoded(Encode encode, Object *object) {
    std::uint8_t *memory = nullptr;
    const int size = encode(object, &memory);
    must(size > 0, "encoding");
    Bytes bytes(memory, memory + size);
    OPENSSL_free(memory);
    return bytes;
}

bool as_wished(const Bytes &certificate, const Wishes &wishes) {
    const std::size_t r = parts_of(certificate).integers_offset;
    const std::size_t r_length = certificate.at(r + 1);
    const std::size_t s_length = certificate.at(r + 2 + r_length + 1);
    return (!wishes.r_length || wishes.r_length == r_length) && (!wishes.s_length || wishes.s_length == s_length);
}

// The element at an offset: where its content begins and where it ends.
struct Element {
    std::size_t content, end;
};

Element element_at(const Bytes &der, std::size_t offset) {
    const std::uint8_t first = der.at(offset + 1);
    const std::size_t octets = first & 0x80u ? first & 0x7fu : 0;
    std::size_t length = octets ? 0 : first;
    for (std::size_t i = 0; i < octets; ++i) length = length << 8 | der.at(offset + 2 + i);
    return {offset + 2 + octets, offset + 2 + octets + length};
}

}  // namespace

Authority::Authority(const std::string &common_name) : name_(common_name) {
    sim::Unseen unseen;
    key_ = {EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free};
    must(key_ != nullptr, "key generation");
}

PublicKey Authority::public_key() const {
    sim::Unseen unseen;
    const Bytes info = encoded(i2d_PUBKEY, key_.get());
    PublicKey point;
    std::copy(info.end() - 64, info.end(), point.begin());
    return point;
}

Bytes Authority::issue(const std::string &subject, const PublicKey &subject_key, const Wishes &wishes) const {
    sim::Unseen unseen;
    const PublicHalf key = key_from(subject_key);

    const auto make = [&](int serial_length, std::size_t padding) {
        Certificate certificate(X509_new());
        Bytes serial(static_cast<std::size_t>(serial_length), 0x5a);
        Owned<BIGNUM, BN_free> number(BN_bin2bn(serial.data(), serial_length, nullptr));
        must(X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
                 BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate.get())) &&
                 ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), "20240101000000Z") == 1 &&
                 ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), "20440101000000Z") == 1 &&
                 X509_set_pubkey(certificate.get(), key.get()) == 1,
             "certificate");
        add_name(X509_get_issuer_name(certificate.get()), "CN", name_);
        add_name(X509_get_subject_name(certificate.get()), "CN", subject);
        if (wishes.extensions)
            add_extensions(certificate.get(), wishes, padding);
        else if (padding)
            add_name(X509_get_subject_name(certificate.get()), "OU", std::string(padding, 'p'));
        must(X509_sign(certificate.get(), key_.get(), EVP_sha256()) > 0, "signing");
        return certificate;
    };
    const auto tbs_size = [](const Certificate &certificate) {
        return encoded(i2d_re_X509_tbs, certificate.get()).size();
    };

    Certificate certificate = make(8, 0);
    // Around the sizes where a length needs another byte, padding alone does not reach every size.
    for (int serial_length = 8; wishes.tbs_size && tbs_size(certificate) != wishes.tbs_size; ++serial_length) {
        must(serial_length < 20 && tbs_size(certificate) < wishes.tbs_size, "no certificate of this size");
        std::size_t padding = wishes.tbs_size - tbs_size(make(serial_length, 0));
        do certificate = make(serial_length, padding);
        while (tbs_size(certificate) > wishes.tbs_size && --padding > 0);
    }

    Bytes der = encoded(i2d_X509, certificate.get());
    while (!as_wished(der, wishes)) {
        must(X509_sign(certificate.get(), key_.get(), EVP_sha256()) > 0, "signing");
        der = encoded(i2d_X509, certificate.get());
    }
    return der;
}

std::string pem_of(const Bytes &der, const char *label) {
    sim::Unseen unseen;
    Stream stream(BIO_new(BIO_s_mem()));
    must(PEM_write_bio(stream.get(), label, "", der.data(), static_cast<long>(der.size())) > 0, "PEM");
    char *text = nullptr;
    const long size = BIO_get_mem_data(stream.get(), &text);
    return std::string(text, static_cast<std::size_t>(size));
}

Bytes der_of(const std::string &pem, const char *label) {
    sim::Unseen unseen;
    Stream stream(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    char *name = nullptr, *header = nullptr;
    std::uint8_t *data = nullptr;
    long size = 0;
    Bytes der;
    if (PEM_read_bio(stream.get(), &name, &header, &data, &size) == 1 && std::strcmp(name, label) == 0)
        der.assign(data, data + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
    return der;
}

CertificateParts parts_of(const Bytes &certificate) {
    sim::Unseen unseen;
    const std::size_t tbs = element_at(certificate, 0).content;
    const std::size_t tbs_end = element_at(certificate, tbs).end;
    const std::size_t bit_string = element_at(certificate, element_at(certificate, tbs).end).end;
    const std::size_t sequence = element_at(certificate, bit_string).content + 1;
    static constexpr std::uint8_t before_key[] = {0x03, 0x42, 0x00, 0x04};
    const auto key = std::search(certificate.begin(), certificate.end(), std::begin(before_key), std::end(before_key));
    return {tbs, tbs_end - tbs, static_cast<std::size_t>(key - certificate.begin()) + sizeof before_key,
            element_at(certificate, sequence).content};
}

bool request_is_sound(const Bytes &request, const std::string &common_name, const PublicKey &key) {
    sim::Unseen unseen;
    const std::uint8_t *position = request.data();
    Owned<X509_REQ, X509_REQ_free> parsed(d2i_X509_REQ(nullptr, &position, static_cast<long>(request.size())));
    if (!parsed || position != request.data() + request.size()) return false;
    EVP_PKEY *const inside = X509_REQ_get0_pubkey(parsed.get());
    X509_NAME *const subject = X509_REQ_get_subject_name(parsed.get());
    const ASN1_STRING *name =
        X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, X509_NAME_get_index_by_NID(subject, NID_commonName, -1)));
    return inside && X509_REQ_verify(parsed.get(), inside) == 1 && EVP_PKEY_eq(inside, key_from(key).get()) == 1 &&
           common_name == std::string(reinterpret_cast<const char *>(ASN1_STRING_get0_data(name)),
                                      static_cast<std::size_t>(ASN1_STRING_length(name)));
}

}  // namespace ostdrv::test
