// Results on standard output: text for people, or JSON with --json.
#ifndef OSTDRV_TOOLS_OUTPUT_HPP
#define OSTDRV_TOOLS_OUTPUT_HPP

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "command.hpp"

namespace ostdrv::tool {

struct Field;
// What one result says, in this order. A name means the same in every command: numbers are numbers, bytes hexadecimal.
using Record = std::vector<Field>;

// Nothing (null: it could not be told), yes or no, a number, a text, or a list of records.
class Value : public std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, std::vector<Record>> {
 public:
    Value(std::nullptr_t = nullptr);
    Value(bool truth);
    Value(double number);
    Value(const char *text);
    Value(std::string text);
    Value(std::vector<Record> records);
    template <std::integral Number>
    Value(Number number);
};

struct Field {
    std::string name;
    Value value;
};

// A list of records can only be handled once a field is known whole.
inline Value::Value(std::nullptr_t) {}
inline Value::Value(bool truth) : variant(truth) {}
inline Value::Value(double number) : variant(number) {}
inline Value::Value(const char *text) : variant(std::string(text)) {}
inline Value::Value(std::string text) : variant(std::move(text)) {}
inline Value::Value(std::vector<Record> records) : variant(std::move(records)) {}
template <std::integral Number>
Value::Value(Number number) : variant(static_cast<std::int64_t>(number)) {}

// Indented, or with -1 on one line.
std::string json_of(const Record &record, int indentation);

class Output {
 public:
    // Adds --json.
    void add_to(Command &command);
    bool json() const { return json_; }

    // The command's one result: the record, or the text and a line end.
    void print(const Record &record, std::string_view text) const;
    // One of several that come one after the other: on a line of its own, and at once.
    void print_next(const Record &record, std::string_view text) const;
    // A yes with the text; a no ends the command with NotVerified and the other text.
    void print_verdict(bool verified, std::string_view yes, const std::string &no) const;

 private:
    bool json_ = false;
};

}  // namespace ostdrv::tool

#endif
