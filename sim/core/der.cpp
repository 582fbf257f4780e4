#include "der.hpp"

#include <algorithm>

namespace ostdrv::sim {

std::optional<DerElement> take_element(ByteView &rest) {
    if (rest.size() < 2) return std::nullopt;
    std::size_t header = 2;
    std::size_t length = rest[1];
    if (length >= 0x80) {
        const std::size_t octets = length - 0x80;
        if (octets < 1 || octets > 2 || rest.size() < 2 + octets) return std::nullopt;
        header += octets;
        length = octets == 1 ? rest[2] : static_cast<std::size_t>(rest[2] << 8 | rest[3]);
        if (length < (octets == 1 ? 0x80u : 0x100u)) return std::nullopt;
    }
    if (length > rest.size() - header) return std::nullopt;
    const DerElement element{rest[0], rest.first(header + length), rest.subspan(header, length)};
    rest = rest.subspan(header + length);
    return element;
}

std::optional<DerElement> take_element(ByteView &rest, std::uint8_t tag) {
    return !rest.empty() && rest[0] == tag ? take_element(rest) : std::nullopt;
}

bool take_integer(ByteView &rest, std::span<std::uint8_t, 32> value) {
    ByteView after = rest;
    const auto integer = take_element(after, 0x02);
    if (!integer || integer->content.empty() || (integer->content[0] & 0x80)) return false;
    ByteView digits = integer->content;
    if (digits[0] == 0 && digits.size() > 1) {
        digits = digits.subspan(1);
        if (!(digits[0] & 0x80)) return false;
    }
    if (digits.size() > value.size()) return false;
    std::fill(value.begin(), value.end(), std::uint8_t{0});
    std::copy(digits.begin(), digits.end(), value.end() - static_cast<std::ptrdiff_t>(digits.size()));
    rest = after;
    return true;
}

void append(Bytes &bytes, ByteView more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

void append_element(Bytes &bytes, std::uint8_t tag, ByteView content) {
    const std::size_t length = content.size();
    const auto low = static_cast<std::uint8_t>(length);
    bytes.push_back(tag);
    if (length >= 0x100) {
        append(bytes, std::array<std::uint8_t, 3>{0x82, static_cast<std::uint8_t>(length >> 8), low});
    } else if (length >= 0x80) {
        append(bytes, std::array<std::uint8_t, 2>{0x81, low});
    } else {
        bytes.push_back(low);
    }
    append(bytes, content);
}

void append_integer(Bytes &bytes, ByteView value) {
    while (value.size() > 1 && value[0] == 0) value = value.subspan(1);
    Bytes content;
    if (value[0] & 0x80) content.push_back(0);
    append(content, value);
    append_element(bytes, 0x02, content);
}

Bytes signature_to_integers(const Signature &signature) {
    Bytes integers;
    append_integer(integers, ByteView(signature).first(32));
    append_integer(integers, ByteView(signature).last(32));
    return integers;
}

std::optional<Signature> signature_from_integers(ByteView integers) {
    Signature signature;
    const auto both = std::span(signature);
    if (!take_integer(integers, both.first<32>()) || !take_integer(integers, both.last<32>()) || !integers.empty())
        return std::nullopt;
    return signature;
}

Bytes signature_to_der(const Signature &signature) {
    Bytes der;
    append_element(der, 0x30, signature_to_integers(signature));
    return der;
}

std::optional<Signature> signature_from_der(ByteView der) {
    const auto sequence = take_element(der, 0x30);
    if (!sequence || !der.empty()) return std::nullopt;
    return signature_from_integers(sequence->content);
}

}  // namespace ostdrv::sim
