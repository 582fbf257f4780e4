#include "gpio_class.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <cerrno>
#include <thread>

#include "attributes.hpp"
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
    static int write_line(const std::string &attribute, const std::string &text) {
        return write_to(gpio + "gpio5/" + attribute, text);
    }
    std::string line(const std::string &attribute) const {
        return board.get(gpio + "gpio5/" + attribute).value_or("missing");
    }
    static int open_value(int number) {
        return open((gpio + "gpio" + std::to_string(number) + "/value").c_str(), O_RDONLY);
    }
    static std::string reread(int fd) {
        char text[8];
        lseek(fd, 0, SEEK_SET);
        const ssize_t count = read(fd, text, sizeof text);
        return count < 0 ? "error" : std::string(text, static_cast<size_t>(count));
    }
    // The events that poll returns for a descriptor, 0 after the timeout.
    static short events_of(int fd, int timeout, short events = POLLPRI) {
        pollfd watch{fd, events, 0};
        return poll(&watch, 1, timeout) > 0 ? watch.revents : static_cast<short>(0);
    }
};

constexpr short edge_events = POLLPRI | POLLERR;

TEST_F(GpioClass, LinesAreExportedAndUnexportedAsTheKernelDoes) {
    EXPECT_EQ(line("value"), "missing");
    EXPECT_EQ(write_to(gpio + "export", "5\n"), 0);
    for (const auto &[attribute, text] :
         {std::pair{"direction", "in\n"}, {"value", "0\n"}, {"edge", "none\n"}, {"active_low", "0\n"}})
        EXPECT_EQ(line(attribute), text);
    EXPECT_EQ(write_to(gpio + "export", "5"), EBUSY);
    for (const char *number : {"32", "-1", "x", "", "5x", " 5"})
        EXPECT_EQ(write_to(gpio + "export", number), *number ? EINVAL : 0) << number;
    EXPECT_EQ(write_to(gpio + "unexport", "6"), EINVAL);
    EXPECT_EQ(write_to(gpio + "unexport", "0x5"), 0);
    EXPECT_EQ(write_line("value", "1"), ENOENT);
    EXPECT_EQ(write_to(gpio + "export", "31"), 0);

    board.fit({.gpio_lines = 8, .adc_channels = 2, .lights = "one"});
    EXPECT_EQ(write_to(gpio + "export", "8"), EINVAL);
    EXPECT_FALSE(board.get(gpio + "gpio31/value"));
    EXPECT_TRUE(board.get("/sys/class/backlight/one/brightness"));
    EXPECT_FALSE(board.get("/sys/class/backlight/panel/brightness"));
    EXPECT_TRUE(sim::set_adc(1, 77) && !sim::set_adc(2, 77) && !drive_line(8, true));
}

TEST_F(GpioClass, AttributesAcceptWhatTheKernelAccepts) {
    write_to(gpio + "export", "5");
    const struct {
        const char *attribute, *text;
        int error;
        const char *direction, *value, *edge;
    } steps[] = {{"value", "1", EPERM, "in", "0", "none"},
                 {"edge", "falling\n", 0, "in", "0", "falling"},
                 {"edge", "up", EINVAL, "in", "0", "falling"},
                 {"edge", "none", 0, "in", "0", "none"},
                 {"direction", "high", 0, "out", "1", "none"},
                 {"edge", "both", EIO, "out", "1", "none"},
                 {"value", "0\n", 0, "out", "0", "none"},
                 {"value", "7", 0, "out", "1", "none"},
                 {"value", "on", EINVAL, "out", "1", "none"},
                 {"active_low", "1", 0, "out", "0", "none"},
                 {"direction", "sideways", EINVAL, "out", "0", "none"},
                 {"direction", "low", 0, "out", "1", "none"},
                 {"active_low", "0", 0, "out", "0", "none"},
                 {"direction", "out", 0, "out", "0", "none"},
                 {"direction", "in", 0, "in", "0", "none"},
                 {"active_low", "x", EINVAL, "in", "0", "none"}};
    for (const auto &step : steps) {
        SCOPED_TRACE(std::string(step.attribute) + " " + step.text);
        EXPECT_EQ(write_line(step.attribute, step.text), step.error);
        EXPECT_EQ(line("direction"), step.direction + std::string("\n"));
        EXPECT_EQ(line("value"), step.value + std::string("\n"));
        EXPECT_EQ(line("edge"), step.edge + std::string("\n"));
    }
}

TEST_F(GpioClass, AttributesAreNeitherCreatedNorTruncatedNorExtended) {
    const std::string light = "/sys/class/backlight/panel/brightness";
    EXPECT_EQ(write_to(light, "200\n"), 0);
    const int fd = open(light.c_str(), O_RDWR | O_TRUNC);
    EXPECT_EQ(reread(fd), "200\n");
    EXPECT_EQ(write(fd, "7", 1), 1) << "a whole value, wherever the descriptor stands";
    EXPECT_EQ(reread(fd), "7\n");
    close(fd);
    EXPECT_EQ(write_to(light, "256"), EINVAL);
    EXPECT_EQ(write_to(light, "-1"), EINVAL);
    EXPECT_EQ(write_to(light, "1", O_RDONLY), EBADF);
    EXPECT_EQ(write_to("/sys/class/backlight/panel/other", "1", O_WRONLY | O_CREAT), ENOENT);

    FILE *stream = fopen(light.c_str(), "w");
    EXPECT_EQ(fwrite("33", 1, 2, stream), 2u);
    EXPECT_EQ(fwrite("333", 1, 3, stream), 0u);
    fclose(stream);
    EXPECT_EQ(board.get(light), "33\n");
}

TEST_F(GpioClass, DrivenLevelsShowOnInputsOnly) {
    EXPECT_TRUE(drive_line(5, true));
    write_to(gpio + "export", "5");
    EXPECT_EQ(line("value"), "1\n") << "driven before it was exported";
    write_line("active_low", "1");
    EXPECT_EQ(line("value"), "0\n");
    drive_line(5, false);
    EXPECT_EQ(line("value"), "1\n");
    write_line("direction", "high");
    EXPECT_EQ(line("value"), "0\n");
    drive_line(5, true), drive_line(5, false);
    EXPECT_EQ(line("value"), "0\n");
    write_line("direction", "in");
    EXPECT_EQ(line("value"), "1\n");
}

TEST_F(GpioClass, EachDescriptorClearsItsOwnEdge) {
    write_to(gpio + "export", "5");
    write_line("edge", "both");
    const int first = open_value(5), second = open_value(5);
    EXPECT_EQ(events_of(first, -1), edge_events) << "never read";
    reread(first), reread(second);
    EXPECT_EQ(events_of(first, 0), 0);
    EXPECT_EQ(events_of(first, 0, POLLIN | POLLPRI), POLLIN) << "a value can always be read";

    drive_line(5, true);
    char byte;
    EXPECT_EQ(read(first, &byte, 1), 0) << "at its end";
    EXPECT_EQ(events_of(first, -1), edge_events) << "only a read from the start clears";
    EXPECT_EQ(events_of(first, 0, 0), POLLERR);
    EXPECT_EQ(reread(first), "1\n");
    EXPECT_EQ(events_of(first, 20), 0);
    EXPECT_EQ(events_of(second, -1), edge_events);

    EXPECT_EQ(write_to(gpio + "unexport", "5"), 0);
    EXPECT_EQ(events_of(first, -1), edge_events);
    EXPECT_EQ(reread(first), "error");
    close(first), close(second);
}

TEST_F(GpioClass, AnotherProcessWakesAWaitOverLinesAndOtherDescriptors) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    for (const char *number : {"3", "5"}) {
        write_to(gpio + "export", number);
        write_to(gpio + "gpio" + number + "/edge", "rising");
    }
    pollfd watches[] = {
        {open_value(3), POLLPRI, 0}, {pipe_ends[0], POLLIN, 0}, {-1, POLLIN, 7}, {open_value(5), POLLPRI, 0}};
    reread(watches[0].fd), reread(watches[3].fd);
    EXPECT_EQ(poll(watches, 4, 0), 0);

    const pid_t child = fork();
    if (child == 0) {
        usleep(20000);
        drive_line(3, false);  // no change: wakes nobody
        drive_line(5, true);
        _exit(0);
    }
    EXPECT_EQ(poll(watches, 4, -1), 1);
    EXPECT_EQ(watches[0].revents, 0);
    EXPECT_EQ(watches[1].revents, 0);
    EXPECT_EQ(watches[2].revents, 0);
    EXPECT_EQ(watches[3].revents, edge_events);
    EXPECT_EQ(reread(watches[3].fd), "1\n");
    waitpid(child, nullptr, 0);

    std::thread writer([&] { EXPECT_EQ(write(pipe_ends[1], "x", 1), 1); });
    EXPECT_EQ(poll(watches, 4, 5000), 1);
    EXPECT_EQ(watches[1].revents, POLLIN);
    writer.join();
    drive_line(3, true);
    EXPECT_EQ(poll(watches, 4, 5000), 2) << "both kinds at once";
    for (const int fd : {watches[0].fd, watches[3].fd, pipe_ends[0], pipe_ends[1]}) close(fd);
}

}  // namespace
}  // namespace ostdrv::test
