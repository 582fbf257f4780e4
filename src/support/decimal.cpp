#include "support/decimal.hpp"

#include <unistd.h>

#include <charconv>
#include <cstdlib>

namespace ostdrv {

// cppcheck-suppress uninitMemberVar  // the digits that view() shows are written, no others
Decimal::Decimal(int number)
    : length_(static_cast<unsigned int>(std::to_chars(digits_, digits_ + sizeof digits_, number).ptr - digits_)) {}

bool parse_leading_int(const char *text, int *value) {
    char *end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text) return false;
    *value = static_cast<int>(number);
    return true;
}

bool write_decimal(int fd, int number) {
    const Decimal text(number);
    const std::string_view digits = text.view();
    return ::write(fd, digits.data(), digits.size()) == static_cast<ssize_t>(digits.size());
}

}  // namespace ostdrv
