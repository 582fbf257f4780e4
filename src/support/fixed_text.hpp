// A text of limited length, put together piece by piece; what does not fit is cut.
#ifndef OSTDRV_SUPPORT_FIXED_TEXT_HPP
#define OSTDRV_SUPPORT_FIXED_TEXT_HPP

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "support/decimal.hpp"

namespace ostdrv {

template <std::size_t Size>  // terminator included
class FixedText {
 public:
    FixedText() { text_[0] = '\0'; }

    FixedText &append(std::string_view piece) {
        const std::size_t length = std::min(piece.size(), Size - 1 - length_);
        std::copy_n(piece.data(), length, text_ + length_);
        length_ += length;
        text_[length_] = '\0';
        return *this;
    }
    FixedText &append(int number) { return append(Decimal(number).view()); }

    const char *c_str() const { return text_; }

 private:
    char text_[Size];
    std::size_t length_ = 0;
};

}  // namespace ostdrv

#endif
