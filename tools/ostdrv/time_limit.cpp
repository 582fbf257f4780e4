#include "time_limit.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "error.hpp"
#include "support/owned.hpp"

namespace ostdrv::tool {
namespace {

using Clock = std::chrono::steady_clock;
using Descriptor = Owned<int, ::close, -1>;

[[noreturn]] void work_alone(int result, const std::function<std::string()> &work) {
    setpgid(0, 0);  // what it starts is killed with it
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nowhere, standard);
    const std::string text = work();
    _exit(write(result, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
}

// Everything up to the end, which comes when the other side has none open any more.
std::optional<std::string> read_until(Clock::time_point end, int descriptor) {
    std::string text;
    char piece[1024];
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd watch{descriptor, POLLIN, 0};
        const int ready = left > 0 ? poll(&watch, 1, static_cast<int>(left)) : 0;
        if (ready == 0) return std::nullopt;
        const ssize_t count = ready > 0 ? read(descriptor, piece, sizeof piece) : -1;
        if (count < 0) throw system_failure("cannot wait for a process");
        if (count == 0) return text;
        text.append(piece, static_cast<std::size_t>(count));
    }
}

}  // namespace

std::optional<std::string> within(std::chrono::milliseconds limit, const std::function<std::string()> &work) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw system_failure("cannot make a pipe");
    const Descriptor result(ends[0]);
    Descriptor theirs(ends[1]);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0) throw system_failure("cannot start a process");
    if (child == 0) work_alone(theirs.get(), work);
    theirs.reset();
    std::optional<std::string> text = read_until(Clock::now() + limit, result.get());
    if (!text && kill(-child, SIGKILL) != 0) kill(child, SIGKILL);
    waitpid(child, nullptr, text ? 0 : WNOHANG);
    return text;
}

}  // namespace ostdrv::tool
