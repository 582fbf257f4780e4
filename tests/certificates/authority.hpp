// A certificate authority in the test's hands: certificates of any size and shape, and what libcrypto thinks of a
// request.
#ifndef OSTDRV_TESTS_CERTIFICATES_AUTHORITY_HPP
#define OSTDRV_TESTS_CERTIFICATES_AUTHORITY_HPP

#include <openssl/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "core/crypto.hpp"

namespace ostdrv::test {

using sim::Bytes;
using sim::PublicKey;

// What a test wants of a certificate, as far as it cares.
struct Wishes {
    bool extensions = true;    // basicConstraints and key usage, or none at all
    bool authority = false;    // they say that the subject may issue certificates itself
    std::size_t tbs_size = 0;  // of the whole TBSCertificate element; reached by padding, 0: as it comes
    std::size_t r_length = 0;  // content bytes of the signature's INTEGERs: 33 when the top bit is set, 32, or 31
    std::size_t s_length = 0;  // for a short one; reached by signing again and again, 0: as they come
};

// A P-256 key pair with a name, that issues certificates: the root, a signer, or the owner of a device key.
class Authority {
 public:
    explicit Authority(const std::string &common_name);

    const std::string &name() const { return name_; }
    const PublicKey &public_key() const { return public_key_; }

    // A version 3 certificate in DER, issued and signed by this authority for somebody's key.
    Bytes issue(const std::string &subject, const PublicKey &subject_key, const Wishes &wishes = {}) const;
    Bytes issue(const Authority &subject, const Wishes &wishes = {}) const {
        return issue(subject.name(), subject.public_key(), wishes);
    }

 private:
    std::string name_;
    std::shared_ptr<EVP_PKEY> key_;
    PublicKey public_key_;
};

// One line of 64 characters after another, LF line ends, as the openssl command writes it.
std::string pem_of(const Bytes &der, const char *label = "CERTIFICATE");
// What the first block of a PEM text holds; empty when it is none.
Bytes der_of(const std::string &pem, const char *label = "CERTIFICATE");

// Where the parts of a DER certificate lie.
struct CertificateParts {
    std::size_t tbs_offset, tbs_size;
    std::size_t key_offset;       // of the 64 bytes X and Y
    std::size_t integers_offset;  // of the INTEGERs r and s, which end the certificate
};
CertificateParts parts_of(const Bytes &certificate);

// What libcrypto thinks of a request: its signature, its name and its key.
bool request_is_sound(const Bytes &request, const std::string &common_name, const PublicKey &key);

}  // namespace ostdrv::test

#endif
