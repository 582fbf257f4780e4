// Exit statuses of the command-line programs, and the errors that end a command with one.
#ifndef OSTDRV_TOOLS_ERROR_HPP
#define OSTDRV_TOOLS_ERROR_HPP

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

}  // namespace ostdrv::tool

#endif
