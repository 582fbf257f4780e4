#include "library_output.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace ostdrv::tool {

void LibraryOutput::add_to(Command &command) {
    command.add_flag("--verbose", verbose_, "Show the library's own messages");
}

LibraryOutput::Redirection::Redirection(bool to_standard_error) : kept_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(stdout);
    const int target = to_standard_error ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    const bool redirected = kept_ >= 0 && target >= 0 && dup2(target, STDOUT_FILENO) >= 0;
    if (target >= 0) close(target);
    if (!redirected) throw system_failure("cannot redirect standard output");
}

LibraryOutput::Redirection::~Redirection() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
}

}  // namespace ostdrv::tool
