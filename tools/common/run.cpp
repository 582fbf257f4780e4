// The last step of a program: describe.cpp has another.
#include <cstdio>

#include "command.hpp"

namespace ostdrv::tool {

int Program::run(int argc, const char *const *argv) {
    const int status = guarded({argv + 1, argv + argc});
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    message(system_failure("cannot write standard output").what());
    return status == done ? failed : status;
}

}  // namespace ostdrv::tool
