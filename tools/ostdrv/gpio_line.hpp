// GPIO lines as the user names them, and why one of them refuses.
#ifndef OSTDRV_TOOLS_GPIO_LINE_HPP
#define OSTDRV_TOOLS_GPIO_LINE_HPP

#include <cerrno>
#include <string>

#include "command.hpp"

namespace ostdrv::tool {

// A line, and behind a separator what is wanted of it.
struct LineArgument {
    int line;
    std::string wanted;
};
LineArgument parse_line(const std::string &text, char separator);

inline const Words gpio_edges{"falling", "rising", "both"};  // by the library's codes

std::string line_name(int line);

// That there is no GPIO class; nothing when there is one.
std::string missing_class();

// "cannot WHAT line 7: REASON", from errno and from what there is of the GPIO class.
Failure line_failure(const std::string &what, int line);

// Runs one of the library's functions, which returns 0 or leaves the reason in errno.
template <typename Call>
void require_line(const std::string &what, int line, Call call) {
    errno = 0;
    if (call() != 0) throw line_failure(what, line);
}

bool is_output(int line);

void add_gpio_watch(Command &group);

}  // namespace ostdrv::tool

#endif
