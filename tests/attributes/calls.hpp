// System calls in one short text, with a path of the test's own as ~: "access(~) open(~/value) read(1) close()".
#ifndef OSTDRV_TESTS_ATTRIBUTES_CALLS_HPP
#define OSTDRV_TESTS_ATTRIBUTES_CALLS_HPP

#include "world.hpp"

namespace ostdrv::test {

inline std::string short_calls(const std::vector<std::string> &calls, std::initializer_list<std::string> paths) {
    std::string text;
    for (const std::string &call : calls) text += (text.empty() ? "" : " ") + call;
    for (const std::string &path : paths)
        for (std::size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), "~");
    return text;
}

}  // namespace ostdrv::test

#endif
