#include "words.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "error.hpp"

namespace ostdrv::tool {
namespace {

// How many letters must be put in, left out, replaced, or exchanged with their neighbour.
std::size_t distance(const std::string &from, const std::string &to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i)
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const bool same = from[i - 1] == to[j - 1];
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + !same});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    return steps[from.size()][to.size()];
}

}  // namespace

std::string joined(const Words &words, const char *separator) {
    std::string text;
    for (const std::string &word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

std::string suggestion(const std::string &word, const Words &words) {
    const std::string *nearest = nullptr;
    std::size_t smallest = std::max<std::size_t>(2, word.size() / 2);
    for (const std::string &candidate : words) {
        // A beginning is as good as the whole word.
        const std::size_t steps = candidate.starts_with(word) ? 0 : distance(word, candidate);
        if (steps >= std::min(smallest, candidate.size())) continue;
        smallest = steps;
        nearest = &candidate;
    }
    return nearest ? ", did you mean '" + *nearest + "'?" : "";
}

std::size_t index_of(const std::string &word, const Words &words) {
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end()) throw BadUsage("'" + word + "' is none of " + joined(words) + suggestion(word, words));
    return static_cast<std::size_t>(found - words.begin());
}

std::int64_t parse_number(const std::string &text, std::int64_t minimum, std::int64_t maximum) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char *const end = text.data() + text.size();
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || (hexadecimal && number < 0) || number < minimum || number > maximum)
        throw BadUsage("'" + text + "' is not a number from " + std::to_string(minimum) + " to " +
                       std::to_string(maximum));
    return number;
}

double parse_real(const std::string &text) {
    const char *const end = text.data() + text.size();
    double number = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || !std::isfinite(number)) throw BadUsage("'" + text + "' is not a number");
    return number;
}

}  // namespace ostdrv::tool
