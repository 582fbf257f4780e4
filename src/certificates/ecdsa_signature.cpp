#include "certificates/ecdsa_signature.hpp"

#include <algorithm>

namespace ostdrv {
namespace {

constexpr std::uint8_t integer_tag = 0x02;
constexpr std::size_t value_size = 32;

// Takes one INTEGER off the front of `der` and places its value right-aligned into 32 bytes.
bool take_integer(Bytes &der, std::uint8_t *value) {
    const auto integer = first_element(der, 0);
    if (!integer || integer->whole[0] != integer_tag) return false;
    der = der.subspan(integer->whole.size());

    Bytes content = integer->content;
    if (!content.empty() && content[0] == 0) content = content.subspan(1);
    if (content.size() > value_size) return false;
    const std::size_t missing = value_size - content.size();
    std::fill_n(value, missing, std::uint8_t{0});
    std::copy(content.begin(), content.end(), value + missing);
    return true;
}

}  // namespace

bool signature_from_der(Bytes der, std::uint8_t *signature) {
    return take_integer(der, signature) && take_integer(der, signature + value_size);
}

DerInteger::DerInteger(const std::uint8_t *value) {
    const std::uint8_t *const end = value + value_size;
    const std::uint8_t *first = std::find_if(value, end - 1, [](std::uint8_t byte) { return byte != 0; });
    const bool sign_byte = (*first & 0x80) != 0;
    content_[0] = 0;
    size_ = static_cast<std::size_t>(std::copy(first, end, content_ + sign_byte) - content_);
}

std::uint8_t *DerInteger::write(std::uint8_t *out) const {
    *out++ = integer_tag;
    *out++ = static_cast<std::uint8_t>(size_);
    return std::copy_n(content_, size_, out);
}

}  // namespace ostdrv
