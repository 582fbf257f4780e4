// Elements of DER bytes that come from a chip or a file: no length in them is believed beyond what is there.
#ifndef OSTDRV_CERTIFICATES_DER_HPP
#define OSTDRV_CERTIFICATES_DER_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace ostdrv {

using Bytes = std::span<const std::uint8_t>;

struct DerElement {
    Bytes whole;  // tag, length octets and content
    Bytes content;
};

// The element that the bytes begin with. Behind the tag stands the length itself (0 length bytes), or it follows in
// that many (1 or 2) behind an octet that says so, which is for the caller to look at. Nothing when there is less.
inline std::optional<DerElement> first_element(Bytes bytes, std::size_t length_bytes) {
    const std::size_t header = 2 + length_bytes;
    if (bytes.size() < header) return std::nullopt;
    std::size_t length = bytes[header - 1];
    if (length_bytes == 2) length += std::size_t{bytes[2]} << 8;
    if (length > bytes.size() - header) return std::nullopt;
    return DerElement{bytes.first(header + length), bytes.subspan(header, length)};
}

}  // namespace ostdrv

#endif
