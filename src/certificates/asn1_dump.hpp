// The ASN.1 elements of DER bytes in document order, as the system's OpenSSL command lists them.
#ifndef OSTDRV_CERTIFICATES_ASN1_DUMP_HPP
#define OSTDRV_CERTIFICATES_ASN1_DUMP_HPP

#include <cstddef>
#include <cstdint>

#include "support/scratch_file.hpp"
#include "support/stream.hpp"

namespace ostdrv {

// One line of the dump. What a line does not supply is 0 or empty.
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

class Asn1Dump {
 public:
    // Runs the command and opens its output.
    Asn1Dump(const std::uint8_t *der, std::size_t der_len);

    // 0, 8 when a temporary file failed, 9 when the command did.
    int status() const { return status_; }
    // False at the end of the dump.
    bool next(Asn1Element *element);

 private:
    // The generator is seeded before the two names are drawn from it, the input's first.
    struct Seed {
        Seed();
    } seed_;
    ScratchFile input_;
    ScratchFile output_;
    Stream dump_;
    int lines_ = 0;
    int status_;

    int run(const std::uint8_t *der, std::size_t der_len);
};

}  // namespace ostdrv

#endif
