// Running a program on the board.
#ifndef OSTDRV_TOOLS_LAUNCH_HPP
#define OSTDRV_TOOLS_LAUNCH_HPP

namespace ostdrv::tool {

// Replaces this process by the command, with the board between it and the C library. Returns only by an Error: status
// 127 when there is no such command, 126 when it cannot be run.
[[noreturn]] void launch(char *const *command);

}  // namespace ostdrv::tool

#endif
