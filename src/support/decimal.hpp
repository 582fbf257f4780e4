// Decimal numbers in texts that come from outside.
#ifndef OSTDRV_SUPPORT_DECIMAL_HPP
#define OSTDRV_SUPPORT_DECIMAL_HPP

#include <cstdlib>

namespace ostdrv {

// The number that a text begins with, after white space, cut to 32 bits as "%d" does. False, with nothing stored, when
// there is none.
inline bool parse_leading_int(const char *text, int *value) {
    char *end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text) return false;
    *value = static_cast<int>(number);
    return true;
}

}  // namespace ostdrv

#endif
