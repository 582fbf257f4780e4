#include "error.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ostdrv::tool {

Failure system_failure(const std::string &what) { return Failure(what + ": " + std::strerror(errno)); }

void message(std::string_view text) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %.*s\n", program_invocation_short_name, static_cast<int>(text.size()), text.data());
}

}  // namespace ostdrv::tool
