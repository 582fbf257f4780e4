// System calls on a line's attributes in one short text: "access(~) open(~/value) read(1) close()".
#ifndef OSTDRV_TESTS_LINE_CALLS_HPP
#define OSTDRV_TESTS_LINE_CALLS_HPP

#include <string>
#include <vector>

namespace ostdrv::test {

inline std::string line_calls(const std::vector<std::string> &calls, const std::string &line) {
    std::string text;
    for (const std::string &call : calls) text += (text.empty() ? "" : " ") + call;
    for (std::size_t at; (at = text.find(line)) != std::string::npos;) text.replace(at, line.size(), "~");
    return text;
}

}  // namespace ostdrv::test

#endif
