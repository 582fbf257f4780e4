// What the command-line programs have in common: exit statuses, errors, option types, and the frame around main.
#ifndef OSTDRV_TOOLS_PROGRAM_HPP
#define OSTDRV_TOOLS_PROGRAM_HPP

#include <CLI/CLI.hpp>
#include <concepts>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostdrv::tool {

enum ExitStatus : int { done = 0, failed = 1, bad_usage = 2, not_verified = 3 };

// Ends the command: the text goes to standard error behind the program's name.
class Error : public std::runtime_error {
 public:
    Error(ExitStatus status, const std::string &text) : std::runtime_error(text), status_(status) {}
    ExitStatus status() const { return status_; }

 private:
    ExitStatus status_;
};

struct Failure : Error {
    explicit Failure(const std::string &text) : Error(failed, text) {}
};
struct BadUsage : Error {
    explicit BadUsage(const std::string &text) : Error(bad_usage, text) {}
};
struct NotVerified : Error {
    explicit NotVerified(const std::string &text) : Error(not_verified, text) {}
};

// "cannot open FILE: No such file or directory", from errno.
Failure system_failure(const std::string &what);

// A warning or other message that ends nothing, in the form of the errors.
void message(std::string_view text);

// A decimal or 0x hexadecimal number between the bounds; `what` names it in the error.
std::int64_t parse_number(const std::string &text, const std::string &what, std::int64_t minimum, std::int64_t maximum);

// An option or argument that holds such a number.
template <std::integral Number>
CLI::Option *add_number(CLI::App &command, const std::string &name, Number &target, const std::string &description,
                        std::int64_t minimum = std::numeric_limits<Number>::min(),
                        std::int64_t maximum = std::numeric_limits<Number>::max()) {
    const auto store = [&target, name, minimum, maximum](const std::string &text) {
        target = static_cast<Number>(parse_number(text, name, minimum, maximum));
    };
    return command.add_option_function<std::string>(name, store, description)->type_name("NUMBER");
}

// A subcommand with -h/--help and -v/--version. Its work goes into callback().
CLI::App &subcommand(CLI::App &parent, const std::string &name, const std::string &description);

// A subcommand that only holds others, one of which must be given.
CLI::App &command_group(CLI::App &parent, const std::string &name, const std::string &description);

// Parses the command line, which runs the command's callback, and turns every outcome into an exit status.
int run(CLI::App &app, int argc, const char *const *argv);

}  // namespace ostdrv::tool

#endif
