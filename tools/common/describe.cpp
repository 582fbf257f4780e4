// The last step of a program that describes another, of which it has all but run.cpp: it prints the commands, with
// everything that was added to them, as one JSON object.
#include <cstdio>

#include "output.hpp"

namespace ostdrv::tool {

int Program::run(int, const char *const *) {
    std::puts(json_of(description(), 1).c_str());
    return std::fflush(stdout) == 0 ? done : failed;
}

}  // namespace ostdrv::tool
