// The little of DER that signatures and certificates need. Nothing here believes a length beyond the bytes it was
// given.
#ifndef OSTDRV_SIM_DER_HPP
#define OSTDRV_SIM_DER_HPP

#include <cstddef>
#include <cstdint>
#include <optional>

#include "crypto.hpp"

namespace ostdrv::sim {

struct DerElement {
    std::uint8_t tag;
    ByteView whole;  // header and content
    ByteView content;
};

// Takes the element at the start of `rest` off it; nothing when its header or content is not all there, or its length
// takes more octets than it must. Lengths go up to 65535.
std::optional<DerElement> take_element(ByteView &rest);
// The same, when the element has this tag.
std::optional<DerElement> take_element(ByteView &rest, std::uint8_t tag);

// Takes a DER INTEGER of 0 to 2^256 - 1, in its shortest form, into 32 bytes; false leaves `value` alone.
bool take_integer(ByteView &rest, std::span<std::uint8_t, 32> value);

void append(Bytes &bytes, ByteView more);
void append_element(Bytes &bytes, std::uint8_t tag, ByteView content);
void append_integer(Bytes &bytes, ByteView value);  // big-endian, of any length above 0

// The two INTEGERs r and s, one after the other, without an enclosing SEQUENCE.
Bytes signature_to_integers(const Signature &signature);
std::optional<Signature> signature_from_integers(ByteView integers);
// The SEQUENCE of both.
Bytes signature_to_der(const Signature &signature);
std::optional<Signature> signature_from_der(ByteView der);

}  // namespace ostdrv::sim

#endif
