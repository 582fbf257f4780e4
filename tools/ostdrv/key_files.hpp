// Certificates and public keys in files that the user names: PEM or DER, P-256. A Failure says what the file is
// instead.
#ifndef OSTDRV_TOOLS_KEY_FILES_HPP
#define OSTDRV_TOOLS_KEY_FILES_HPP

#include <string>

#include "bytes.hpp"

namespace ostdrv::tool {

struct CertificateFile {
    Bytes der;
    Bytes tbs;                  // the part that is signed
    Bytes public_key;           // 64 bytes, X and Y
    std::string signature;      // the algorithm's short name
    std::size_t pem_file_size;  // 0 when the file is DER
};

CertificateFile read_certificate(const std::string &path);
bool is_certificate(const Bytes &file);
// For functions of the library that want PEM.
std::string certificate_pem(const Bytes &der);

// The 64 bytes of a public key, as they are, in hexadecimal, or in any form that OpenSSL writes; or of a certificate.
Bytes read_public_key(const std::string &path);

}  // namespace ostdrv::tool

#endif
