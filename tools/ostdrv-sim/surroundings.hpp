// Subcommands of ostdrv-sim that change what surrounds the board, while programs run on it.
#ifndef OSTDRV_TOOLS_SURROUNDINGS_HPP
#define OSTDRV_TOOLS_SURROUNDINGS_HPP

#include "command.hpp"
#include "setup.hpp"

namespace ostdrv::tool {

// The options are the board's; they must outlive the parsing.
void add_surroundings(Command &program, const BoardOptions &board);

}  // namespace ostdrv::tool

#endif
