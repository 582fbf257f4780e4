// What the commands of ostdrv share. Each family of commands has a file and one function that registers it.
#ifndef OSTDRV_TOOLS_COMMAND_HPP
#define OSTDRV_TOOLS_COMMAND_HPP

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "program.hpp"

namespace ostdrv::tool {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<std::uint8_t>;

// What a status of the secure-element and certificate functions means.
const char *status_meaning(int status);

// Throws a Failure "cannot WHAT: MEANING (status N)" unless the status is 0.
void require(int status, const std::string &what);

// For what cannot be undone. Returns when --yes was given or a person at the terminal agrees; `what` is a sentence,
// "This locks ... for good."
void confirm(bool yes, const std::string &what);
CLI::Option *add_yes(CLI::App &command, bool &yes);

CLI::Option *add_json(CLI::App &command, bool &json);
void print(const Json &result);

std::string to_hex(std::span<const std::uint8_t> bytes);
// Pairs of hexadecimal digits; blanks, line ends and colons between them are skipped.
Bytes from_hex(std::string_view text, const std::string &what);

// Whole files. Failures carry the file's name.
Bytes read_file(const std::string &path);
void write_file(const std::string &path, std::span<const std::uint8_t> bytes);

}  // namespace ostdrv::tool

#endif
