#include "shell.hpp"

#include <sys/wait.h>

#include <cstdlib>

#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {
namespace {

// i2cget as a function of the shell that runs the command: what it says of a chip depends on what is fitted now.
std::string i2cget(const BoardDescription &board) {
    std::string condition = "false";
    if (board.atecc_on_i2c())
        condition = "[ $(($2)) = " + std::to_string(board.i2c_bus) +
                    " ] && [ $(($3)) = " + std::to_string(board.i2c_address) + " ]";
    return "i2cget() { if " + condition + "; then echo 0x00; else echo 'Error: Read failed' >&2; return 1; fi; }\n";
}

std::string one_word(std::string_view text) {
    std::string word = "'";
    for (const char c : text) c == '\'' ? word += "'\\''" : word += c;
    return word + "'";
}

// The host's /bin/sh starts the board's when that is another one.
std::string in_shell(const std::string &shell, const std::string &command) {
    return shell == host_shell ? command : "exec " + shell + " -c -- " + one_word(command);
}

}  // namespace

std::string host_command(std::string_view device_command) {
    const BoardDescription board = BoardDescription::load();
    const bool asks_bus = device_command.find("i2cget") != std::string_view::npos;
    return in_shell(board.shell, (asks_bus ? i2cget(board) : "") + with_board_paths(device_command));
}

std::optional<bool> redirects_both(const std::string &shell) {
    const Unseen unseen;
    constexpr int in_background = 3, redirected = 4;
    const int status =
        std::system(("exec 2>/dev/null; " + in_shell(shell, "false &>/dev/null && exit 3; exit 4")).c_str());
    if (!WIFEXITED(status) || (WEXITSTATUS(status) != in_background && WEXITSTATUS(status) != redirected))
        return std::nullopt;
    return WEXITSTATUS(status) == redirected;
}

}  // namespace ostdrv::sim
