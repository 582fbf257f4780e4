#include "output.hpp"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace ostdrv::tool {
namespace {

using Json = nlohmann::ordered_json;

Json to_json(const Record &record) {
    static constexpr auto convert = [](const auto &value) -> Json {
        if constexpr (std::is_same_v<decltype(value), const std::vector<Record> &>) {
            Json list = Json::array();
            for (const Record &element : value) list.push_back(to_json(element));
            return list;
        } else {
            return value;
        }
    };
    Json object = Json::object();
    for (const auto &[name, value] : record) object[name] = std::visit(convert, value);
    return object;
}

void print_line(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace

std::string json_of(const Record &record, int indentation) {
    return to_json(record).dump(indentation, ' ', false, Json::error_handler_t::replace);
}

void Output::add_to(Command &command) { command.add_flag("--json", json_, "Print JSON"); }

void Output::print(const Record &record, std::string_view text) const { print_line(json_ ? json_of(record, 2) : text); }

void Output::print_next(const Record &record, std::string_view text) const {
    print_line(json_ ? json_of(record, -1) : text);
    std::fflush(stdout);
}

void Output::print_verdict(bool verified, std::string_view yes, const std::string &no) const {
    if (json_ || verified) print({{"verified", verified}}, yes);
    if (!verified) throw NotVerified(no);
}

}  // namespace ostdrv::tool
