// A text of limited length, put together piece by piece; what does not fit is cut.
#ifndef OSTDRV_SUPPORT_FIXED_TEXT_HPP
#define OSTDRV_SUPPORT_FIXED_TEXT_HPP

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace ostdrv {

// Paths of attributes are made this way: beside the few system calls of a transfer, printf's formatting would show.
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
    FixedText &append(int number) {
        char digits[16];
        const char *const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        return append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
    }

    const char *c_str() const { return text_; }
    std::string_view view() const { return {text_, length_}; }

 private:
    char text_[Size];
    std::size_t length_ = 0;
};

}  // namespace ostdrv

#endif
