#include "bytes.hpp"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <optional>

#include "error.hpp"

namespace ostdrv::tool {
namespace {

std::optional<Bytes> parse_hex(std::string_view text) {
    std::string digits;
    for (const char c : text)
        if (c != ':' && !std::isspace(static_cast<unsigned char>(c))) digits += c;
    if (digits.size() % 2 != 0) return std::nullopt;
    Bytes bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char *const pair = digits.data() + 2 * i;
        if (std::from_chars(pair, pair + 2, bytes[i], 16).ptr != pair + 2) return std::nullopt;
    }
    return bytes;
}

}  // namespace

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

Bytes from_hex(std::string_view text, const std::string &what) {
    const std::optional<Bytes> bytes = parse_hex(text);
    if (!bytes) throw BadUsage(what + " is not made of pairs of hexadecimal digits");
    return *bytes;
}

Bytes binary_of(const Bytes &file, std::size_t binary_size) {
    return file.size() == binary_size ? file : parse_hex(text_of(file)).value_or(file);
}

std::string hexadecimal(unsigned number, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, number);
    return text;
}

std::string_view text_of(const Bytes &bytes) { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }

Bytes bytes_of(std::string_view text) { return Bytes(text.begin(), text.end()); }

}  // namespace ostdrv::tool
