// libcrypto's objects with their owners, and its streams over memory.
#ifndef OSTDRV_TOOLS_OPENSSL_OBJECTS_HPP
#define OSTDRV_TOOLS_OPENSSL_OBJECTS_HPP

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <string>

#include "bytes.hpp"
#include "support/owned.hpp"

namespace ostdrv::tool {

using Key = Owned<EVP_PKEY *, EVP_PKEY_free>;
using Certificate = Owned<X509 *, X509_free>;
using Request = Owned<X509_REQ *, X509_REQ_free>;
using Number = Owned<BIGNUM *, BN_free>;
using Stream = Owned<BIO *, BIO_free_all>;

inline Stream stream_of(const Bytes &bytes) {
    return Stream(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

// What a function such as PEM_write_bio_X509 writes of an object.
template <typename Write, typename Object>
std::string written(Write write, Object *object) {
    const Stream stream(BIO_new(BIO_s_mem()));
    write(stream.get(), object);
    char *data = nullptr;
    const long length = BIO_get_mem_data(stream.get(), &data);
    return std::string(data, static_cast<std::size_t>(length));
}

}  // namespace ostdrv::tool

#endif
