#include "attribute.hpp"

#include <ostdrv.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>

#include "error.hpp"
#include "files.hpp"

namespace ostdrv::tool {
namespace {

// Of procfs; an attribute of sysfs has at most a page.
constexpr std::size_t most_bytes = 1 << 20;

}  // namespace

std::string read_attribute(const std::string &path) { return std::string(text_of(read_file(path, most_bytes))); }

void require_number(const std::string &path) {
    const std::string text = read_attribute(path);
    if (text.empty()) throw Failure(path + " is empty");
    const char *start = text.data();
    const char *const end = start + text.size();
    while (start != end && std::isspace(static_cast<unsigned char>(*start))) ++start;
    if (start != end && *start == '+') ++start;
    int number = 0;
    const std::errc error = std::from_chars(start, end, number).ec;
    if (error == std::errc::result_out_of_range) throw Failure(path + " holds a number that is too large");
    if (error != std::errc()) throw Failure(path + " holds no number");
}

Words names_in(const std::string &directory, const std::string &start, const std::string &end) {
    Words names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename();
        if (name.size() > start.size() + end.size() && name.starts_with(start) && name.ends_with(end))
            names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
}

std::vector<int> numbers_in(const std::string &directory, const std::string &start, const std::string &end) {
    std::vector<int> numbers;
    for (const std::string &name : names_in(directory, start, end)) {
        const char *const last = name.data() + name.size() - end.size();
        int number = 0;
        const auto [stop, error] = std::from_chars(name.data() + start.size(), last, number);
        if (error == std::errc() && stop == last) numbers.push_back(number);
    }
    std::ranges::sort(numbers);
    return numbers;
}

std::string missing_hint(const std::string &directory) {
    if (x_sysfs_exists(directory.c_str()) == 0) return "";
    return "; there is no " + directory + ", is this the device? 'ostdrv-sim -- COMMAND' plays one";
}

}  // namespace ostdrv::tool
