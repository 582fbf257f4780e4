#include "gpio_class.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "world.hpp"

namespace ostdrv::test {
namespace {

using sim::drive_line;

const std::string gpio = "/sys/class/gpio/";

class GpioClass : public World {
 public:
    // The error number of one write, 0 when it took everything.
    static int write_to(const std::string &device_path, const std::string &text, int flags = O_WRONLY) {
        const int fd = open(device_path.c_str(), flags);
        if (fd < 0) return errno;
        const bool whole = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        const int error = errno;
        close(fd);
        return whole ? 0 : error;
    }
    std::string line(const std::string &attribute) const {
        return board.get(gpio + "gpio5/" + attribute).value_or("missing");
    }
    static std::string reread(int fd) {
        char text[8];
        lseek(fd, 0, SEEK_SET);
        const ssize_t count = read(fd, text, sizeof text);
        return count < 0 ? "error" : std::string(text, static_cast<size_t>(count));
    }
};

TEST_F(GpioClass, WritesAreAcceptedAndRefusedAsTheKernelDoes) {
    const std::string light = "/sys/class/backlight/panel/brightness";
    drive_line(5, true);
    const struct {
        std::string path, text;
        int error;
        std::string shown;  // direction, value and edge afterwards
    } steps[] = {{"unexport", "5", EINVAL, "missing"},
                 {"gpio5/value", "1", ENOENT, "missing"},
                 {"export", "32", EINVAL, "missing"},
                 {"export", "5x", EINVAL, "missing"},
                 {"export", "5\n", 0, "in 1 none"},
                 {"export", "5", EBUSY, "in 1 none"},
                 {"gpio5/value", "1", EPERM, "in 1 none"},
                 {"gpio5/edge", "up", EINVAL, "in 1 none"},
                 {"gpio5/edge", "falling\n", 0, "in 1 falling"},
                 {"gpio5/edge", "none", 0, "in 1 none"},
                 {"gpio5/active_low", "1", 0, "in 0 none"},
                 {"gpio5/active_low", "x", EINVAL, "in 0 none"},
                 {"gpio5/direction", "high", 0, "out 0 none"},
                 {"gpio5/direction", "sideways", EINVAL, "out 0 none"},
                 {"gpio5/edge", "both", EIO, "out 0 none"},
                 {"gpio5/value", "on", EINVAL, "out 0 none"},
                 {"gpio5/value", "7\n", 0, "out 1 none"},
                 {"gpio5/direction", "in", 0, "in 0 none"},
                 {"unexport", "0x5", 0, "missing"}};
    for (const auto &step : steps) {
        SCOPED_TRACE(step.path + " " + step.text);
        EXPECT_EQ(write_to(gpio + step.path, step.text), step.error);
        std::string shown = line("direction") + line("value") + line("edge");
        std::ranges::replace(shown, '\n', ' ');
        EXPECT_EQ(shown, step.shown == "missing" ? "missingmissingmissing" : step.shown + " ");
    }
    EXPECT_EQ(write_to("/sys/class/backlight/panel/other", "1", O_WRONLY | O_CREAT), EACCES);
    EXPECT_EQ(write_to(light, "200\n"), 0);
    EXPECT_EQ(write_to(light, "7", O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(board.get(light), "7\n") << "a whole value, not the first byte of one";
}

TEST_F(GpioClass, EachDescriptorSeesEdgesOfOtherProcessesAndClearsItsOwn) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    write_to(gpio + "export", "5");
    write_to(gpio + "gpio5/edge", "both");
    const std::string value = gpio + "gpio5/value";
    pollfd watches[] = {{open(value.c_str(), O_RDONLY), POLLPRI, 0},
                        {open(value.c_str(), O_RDONLY), POLLIN | POLLPRI, 0},
                        {pipe_ends[0], POLLIN, 0}};
    const auto events = [&](int timeout) {
        poll(watches, 3, timeout);
        return std::array{watches[0].revents, watches[1].revents, watches[2].revents};
    };
    using Events = std::array<short, 3>;
    const short edge = POLLPRI | POLLERR;
    EXPECT_EQ(events(-1), (Events{edge, edge | POLLIN, 0})) << "never read";
    reread(watches[0].fd), reread(watches[1].fd);
    drive_line(5, false);
    EXPECT_EQ(events(0), (Events{0, POLLIN, 0})) << "a value can always be read, and no change is no edge";

    watches[1].events = POLLPRI;
    const pid_t child = fork();
    if (child == 0) {
        usleep(20000);
        drive_line(5, true);
        _exit(0);
    }
    EXPECT_GT(poll(watches, 3, -1), 0);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(events(0), (Events{edge, edge, 0}));
    char byte;
    EXPECT_EQ(read(watches[0].fd, &byte, 1), 0) << "at its end";
    EXPECT_EQ(reread(watches[1].fd), "1\n");
    EXPECT_EQ(write(pipe_ends[1], "x", 1), 1);
    EXPECT_EQ(events(-1), (Events{edge, 0, POLLIN})) << "only a read from the start clears";
    reread(watches[0].fd);
    EXPECT_EQ(write_to(gpio + "unexport", "5"), 0);
    EXPECT_EQ(events(-1), (Events{edge, edge, POLLIN}));
    EXPECT_EQ(reread(watches[0].fd), "error");
    for (const int fd : {watches[0].fd, watches[1].fd, pipe_ends[0], pipe_ends[1]}) close(fd);
}

}  // namespace
}  // namespace ostdrv::test
