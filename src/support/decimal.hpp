// Decimal numbers in attributes and in texts that come from outside.
#ifndef OSTDRV_SUPPORT_DECIMAL_HPP
#define OSTDRV_SUPPORT_DECIMAL_HPP

#include <string_view>

namespace ostdrv {

// The digits of a number, a minus before them. Beside the few system calls of a transfer, printf's formatting would
// show.
class Decimal {
 public:
    explicit Decimal(int number);
    std::string_view view() const { return {digits_, length_}; }

 private:
    char digits_[11];
    unsigned int length_;
};

// The number that a text begins with, after white space, cut to 32 bits as "%d" does. False, with nothing stored, when
// there is none.
bool parse_leading_int(const char *text, int *value);

// Without a line end, with one write: an attribute takes what one call brings. False when that wrote less.
bool write_decimal(int fd, int number);

}  // namespace ostdrv

#endif
