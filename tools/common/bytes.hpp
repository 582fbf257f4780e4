// Bytes and their hexadecimal text.
#ifndef OSTDRV_TOOLS_BYTES_HPP
#define OSTDRV_TOOLS_BYTES_HPP

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostdrv::tool {

using Bytes = std::vector<std::uint8_t>;

std::string to_hex(std::span<const std::uint8_t> bytes);

// Pairs of hexadecimal digits; blanks, line ends and colons between them are skipped. BadUsage names `what`.
Bytes from_hex(std::string_view text, const std::string &what);
// What a file of binary or hexadecimal content means: itself when it has the binary size, or is not hexadecimal.
Bytes binary_of(const Bytes &file, std::size_t binary_size);

// "0x0F" for 15 and 2 digits.
std::string hexadecimal(unsigned number, int digits);

std::string_view text_of(const Bytes &bytes);
Bytes bytes_of(std::string_view text);

}  // namespace ostdrv::tool

#endif
