// Subcommands of ostdrv-sim: what surrounds the board, and its attributes, while programs run on it.
#ifndef OSTDRV_TOOLS_BOARD_COMMANDS_HPP
#define OSTDRV_TOOLS_BOARD_COMMANDS_HPP

#include "command.hpp"
#include "setup.hpp"

namespace ostdrv::tool {

// The options are the board's; they must outlive the parsing.
void add_board_commands(Command &program, const BoardOptions &board);

}  // namespace ostdrv::tool

#endif
