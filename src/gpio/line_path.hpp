// Where the kernel's GPIO class keeps a line's attributes.
#ifndef OSTDRV_GPIO_LINE_PATH_HPP
#define OSTDRV_GPIO_LINE_PATH_HPP

#include <string_view>

#include "support/fixed_text.hpp"

namespace ostdrv {

using LinePath = FixedText<128>;

// The line's directory, or with "/value" and the like an attribute in it.
LinePath line_path(int gpio, std::string_view attribute = {});

}  // namespace ostdrv

#endif
