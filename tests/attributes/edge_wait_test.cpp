#include <cerrno>
#include <thread>

#include "attributes/calls.hpp"
#include "gpio_class.hpp"
#include "world.hpp"

static bool operator==(const x_gpio_poll_entry &a, const x_gpio_poll_entry &b) {
    return a.gpio == b.gpio && a.edge == b.edge && a.value == b.value && a.fired == b.fired && a.fd == b.fd;
}

namespace ostdrv::test {
namespace {

using Entries = std::vector<x_gpio_poll_entry>;
using sim::drive_line;

const std::string line7 = "/sys/class/gpio/gpio7";

class Edges : public World {
 public:
    int value = -99;

    // What a wait returns while another thread changes lines once the wait has begun.
    static int during_wait(const std::function<int()> &wait, const std::function<void()> &changes) {
        sim::fault_plan::start();
        std::thread outside([&] {
            const sim::Unseen unseen;
            const auto waiting = [] {
                const Calls log = sim::fault_plan::log();
                return !log.empty() && log.back().starts_with("poll(");
            };
            while (!waiting()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            changes();
        });
        const int result = wait();
        outside.join();
        sim::fault_plan::stop();
        return result;
    }
    static Entries lines(int count, int edge = 2) {
        Entries entries;
        for (int i = 0; i < count; ++i) entries.push_back({i, edge, -99, 0, 999});
        return entries;
    }
    static int setup(Entries &entries) {
        return x_gpio_util_poll_multiple_setup(entries.data(), static_cast<int>(entries.size()));
    }
    static int wait(Entries &entries, int timeout) {
        return x_gpio_util_poll_multiple(entries.data(), static_cast<int>(entries.size()), timeout);
    }
    static void cleanup(Entries &entries) {
        x_gpio_poll_multiple_cleanup(entries.data(), static_cast<int>(entries.size()));
    }
};

TEST_F(Edges, SingleWaitSeesTheSelectedEdgeOfTheLogicalValue) {
    const struct {
        unsigned edge;
        bool active_low, level_before, level_after;
        int result, value;
    } cases[] = {{1, false, false, true, 0, 1}, {0, false, true, false, 0, 0},   {2, false, true, false, 0, 0},
                 {1, true, true, false, 0, 1},  {1, false, true, false, 1, -99}, {0, false, false, true, 1, -99}};
    for (const auto &c : cases) {
        x_gpio_util_active_low(7, c.active_low);
        drive_line(7, c.level_before);
        value = -99;
        const int timeout = c.result == 0 ? -1 : 50;
        EXPECT_EQ(during_wait([&] { return x_gpio_util_poll(7, c.edge, timeout, &value); },
                              [&] { drive_line(7, c.level_after); }),
                  c.result)
            << c.edge << c.active_low << c.level_before;
        EXPECT_EQ(value, c.value);
    }
}

TEST_F(Edges, SingleWaitMakesExactlyTheseSystemCalls) {
    x_gpio_util_edge(7, 1);
    const std::string set_up =
        "access(~) access(~) access(~) open(~/direction) read(1) close() access(~) open(~/edge) write(4 'both') "
        "close() "
        "open(~/value) lseek(0) read(1) ";
    drive_line(7, true);
    const auto look = [&] { EXPECT_EQ(x_gpio_util_poll(7, 2, 0, &value), 1) << "an edge before the wait"; };
    EXPECT_EQ(short_calls(calls_of(look), {line7}), set_up + "poll(1, 0) close()");
    EXPECT_EQ(value, -99);
    EXPECT_EQ(during_wait([&] { return x_gpio_util_poll(7, 2, 5000, &value); }, [] { drive_line(7, false); }), 0);
    EXPECT_EQ(short_calls(sim::fault_plan::log(), {line7}), set_up + "poll(1, 5000) lseek(0) read(1) close()");
}

TEST_F(Edges, SingleWaitTellsATimeoutFromAFailure) {
    const auto look = [&] { return x_gpio_util_poll(7, 2, 0, &value); };
    EXPECT_EQ(look(), 1);
    EXPECT_EQ(with_fault({.name = "poll", .error = EINTR}, look), 1);
    EXPECT_EQ(with_fault({.name = "lseek", .lasting = true}, look), 1) << "the clearing read's result does not count";

    testing::internal::CaptureStdout();
    EXPECT_EQ(with_fault({.name = "poll", .has_result = true, .result = 1}, look), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "revents 0\n");
    const auto edge_unread = [&] {
        sim::fault_plan::add({.name = "read", .nth = 3, .has_result = true, .result = 0});
        return x_gpio_util_poll(7, 2, -1, &value);
    };
    EXPECT_EQ(during_wait(edge_unread, [] { drive_line(7, true); }), -1);
    EXPECT_EQ(value, -99);
}

TEST_F(Edges, AnUnknownEdgeFailsOnAPreparedInput) {
    x_gpio_util_set(9, 1);
    EXPECT_EQ(x_gpio_util_poll(9, 3, 0, &value), -1);
    EXPECT_EQ(board.get("/sys/class/gpio/gpio9/direction"), "in\n");
    Entries entries = lines(2, 3);
    EXPECT_EQ(setup(entries), -1);
    EXPECT_EQ(entries[0].fd, 999) << "untouched when the configuration fails";
}

TEST_F(Edges, AnySubsetOfSixteenLinesFires) {
    Entries entries = lines(16);
    ASSERT_EQ(setup(entries), 0);
    for (const unsigned subset : {0x0001u, 0x8000u, 0xa5a5u, 0xffffu}) {
        Entries expected = entries;
        for (unsigned i = 0; i < 16; ++i) {
            entries[i].fired = expected[i].fired = 0;
            if (!(subset >> i & 1)) continue;
            const bool high = entries[i].value != 1;
            drive_line(static_cast<int>(i), high);
            expected[i].fired = 1;
            expected[i].value = high;
        }
        EXPECT_EQ(wait(entries, -1), 0);
        EXPECT_EQ(entries, expected) << std::hex << subset;
        EXPECT_EQ(wait(entries, 0), 1) << "reading the value took the edges back";
        EXPECT_EQ(entries, expected) << "a timeout changes nothing, not even an old fired";
    }
    drive_line(0, entries[0].value == 0);
    const Entries before = entries;
    EXPECT_EQ(with_fault({.name = "read"}, [&] { return wait(entries, -1); }), 0) << "poll did report the line";
    EXPECT_EQ(entries, before);
    cleanup(entries);
}

TEST_F(Edges, CountsOutsideTheLimitAreRefusedUntouched) {
    Entries entries = lines(17);
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(setup(entries), -1);
                  EXPECT_EQ(wait(entries, 0), -1);
                  EXPECT_EQ(x_gpio_util_poll_multiple(entries.data(), -1, 0), -1);
                  EXPECT_EQ(x_gpio_util_poll_multiple_setup(nullptr, 0), -1);
                  EXPECT_EQ(x_gpio_util_poll_multiple(nullptr, 1, 0), -1);
                  EXPECT_EQ(x_gpio_util_poll_multiple_setup(entries.data(), -4), 0);
                  x_gpio_poll_multiple_cleanup(nullptr, 0);
              }),
              Calls{});
    EXPECT_EQ(entries, lines(17));
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(x_gpio_util_poll_multiple(entries.data(), 0, 10), 1); }), Calls{"poll(0, 10)"});
}

TEST_F(Edges, DescriptorsAreClosedOnceAndWhenTheSetUpFails) {
    Entries entries = lines(3);
    ASSERT_EQ(setup(entries), 0);
    EXPECT_EQ(calls_of([&] { cleanup(entries); }), Calls(3, "close()"));
    EXPECT_EQ(calls_of([&] { cleanup(entries); }), Calls{});
    const Remains before = remains();
    // The first three reads configure the lines.
    const sim::Fault unreadable{.name = "read", .nth = 5, .has_result = true, .result = 0};
    EXPECT_EQ(with_fault(unreadable, [&] { return setup(entries); }), -1);
    EXPECT_EQ(remains(), before);
    for (const x_gpio_poll_entry &entry : entries) EXPECT_EQ(entry.fd, -1);
}

}  // namespace
}  // namespace ostdrv::test
