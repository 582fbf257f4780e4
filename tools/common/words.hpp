// Words that the user chooses from, and what is said to one who mistypes them.
#ifndef OSTDRV_TOOLS_WORDS_HPP
#define OSTDRV_TOOLS_WORDS_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ostdrv::tool {

using Words = std::vector<std::string>;

// "a, b, c".
std::string joined(const Words &words, const char *separator = ", ");

// ", did you mean 'NEAREST'?", or nothing when no word is near.
std::string suggestion(const std::string &word, const Words &words);

// A word's index; BadUsage names the words when it is none of them.
std::size_t index_of(const std::string &word, const Words &words);

// A decimal or 0x hexadecimal number between the bounds, else BadUsage.
std::int64_t parse_number(const std::string &text, std::int64_t minimum, std::int64_t maximum);
double parse_real(const std::string &text);

}  // namespace ostdrv::tool

#endif
