// The ASN.1 elements of DER bytes in document order, as the system's OpenSSL command lists them.
#ifndef OSTDRV_CERTIFICATES_ASN1_LISTING_HPP
#define OSTDRV_CERTIFICATES_ASN1_LISTING_HPP

#include "certificates/der.hpp"

namespace ostdrv {

// One line of the listing. What a line does not supply is 0 or empty.
struct Asn1Element {
    int line;           // counted from 0
    int offset;         // of the tag byte
    int depth;          // 0 for the outermost
    int header_length;  // tag and length octets
    int length;         // content octets
    char tag[32];       // the type's name
    char value[256];    // what follows it, such as an object identifier's name

    long size() const { return static_cast<long>(header_length) + length; }
    long end() const { return offset + size(); }
};

// Runs the command and gives each element to `visit`, which returns whether it wants the next one. 0, 8 when a
// temporary file failed, 9 when the command did.
using Asn1Visit = bool(void *context, const Asn1Element &element);
int list_asn1_elements(Bytes der, Asn1Visit *visit, void *context);

template <typename Visitor>
int for_each_asn1_element(Bytes der, Visitor visit) {
    const auto call = [](void *context, const Asn1Element &element) {
        return (*static_cast<Visitor *>(context))(element);
    };
    return list_asn1_elements(der, call, &visit);
}

}  // namespace ostdrv

#endif
