#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>

#include <climits>

#include "analog/led_channel.hpp"
#include "world.hpp"

namespace ostdrv::test {
namespace {

using Calls = std::vector<std::string>;

const std::string panel = "/sys/class/backlight/panel/brightness";

class Lights : public World {
 public:
    unsigned value = 99;
    void put_brightness(const std::string &text) const { board.put(panel, text); }
};

TEST_F(Lights, ChannelsAreLookedUpInTheList) {
    const int channels[] = {4, 7, 9};
    EXPECT_EQ(x_pwm_is_valid_channel(3, channels, 9), 0);
    EXPECT_EQ(x_pwm_is_valid_channel(3, channels, 4), 0);
    EXPECT_EQ(x_pwm_is_valid_channel(2, channels, 9), -1);
    EXPECT_EQ(x_pwm_is_valid_channel(3, channels, 5), -1);
    EXPECT_EQ(x_pwm_is_valid_channel(0, channels, 4), -1);
    EXPECT_EQ(x_pwm_is_valid_channel(0, nullptr, 4), -1);
}

TEST_F(Lights, PercentagesAreRoundedBothWays) {
    const struct {
        unsigned percent;
        const char *raw;
        unsigned read_back;
    } cases[] = {{0, "0", 0},     {1, "3", 1},     {10, "26", 10},   {30, "77", 30},
                 {50, "128", 50}, {99, "252", 99}, {100, "255", 100}};
    for (const auto &c : cases) {
        EXPECT_EQ(x_pwm_set_cycle("panel", c.percent), 0);
        EXPECT_EQ(board.get(panel), c.raw + std::string("\n"));
        EXPECT_EQ(x_pwm_read_cycle("panel", &value), 0);
        EXPECT_EQ(value, c.read_back);
    }
}

TEST_F(Lights, NothingIsLimitedButByTheKernel) {
    const auto written = [](unsigned percent) { return calls_of([&] { x_pwm_set_cycle("panel", percent); })[1]; };
    EXPECT_EQ(written(200), "write(3 '510')");
    EXPECT_EQ(written(842150449), "write(10 '2147483645')");
    EXPECT_EQ(written(842150450), "write(10 '2147483647')") << "the largest int";
    EXPECT_EQ(written(UINT_MAX), "write(10 '2147483647')");
    EXPECT_EQ(x_pwm_set_cycle("panel", 101), -1) << "a backlight refuses more than its highest brightness";
    put_brightness("510\n");
    EXPECT_EQ(x_pwm_read_cycle("panel", &value), 0);
    EXPECT_EQ(value, 200u);
}

TEST_F(Lights, TransfersAreOneSystemCallEach) {
    EXPECT_EQ(calls_of([] { x_pwm_set_cycle("panel", 50); }),
              (Calls{"open(" + panel + ")", "write(3 '128')", "close()"}));
    EXPECT_EQ(calls_of([&] { x_pwm_read_cycle("panel", &value); }),
              (Calls{"open(" + panel + ")", "read(15)", "close()"}));
    EXPECT_EQ(calls_of([&] {
                  for (const int fd : {0, -1, -7}) {
                      EXPECT_EQ(pwm_proc_write(fd, 1), -1);
                      EXPECT_EQ(pwm_proc_read(fd, &value), -1);
                  }
              }),
              Calls{});
    EXPECT_EQ(pwm_proc_close(-1), -1);
}

TEST_F(Lights, RawValuesAreNumbersOfAtMost32Bits) {
    const struct {
        const char *text;
        int result;
        unsigned value;
    } cases[] = {{"255\n", 0, 255},
                 {"4294967295", 0, UINT_MAX},
                 {"4294967297", 0, 1},
                 {"dim\n", -1, 0},
                 {"-1\n", 0, UINT_MAX},
                 {" 12 rest", 0, 12},
                 {"99999999999999999999", 0, 2764472319u /* of 15 digits */},
                 {"", -1, 99}};
    for (const auto &c : cases) {
        put_brightness(c.text);
        const int fd = pwm_proc_open("panel");
        ASSERT_GT(fd, 0);
        value = 99;
        EXPECT_EQ(pwm_proc_read(fd, &value), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(pwm_proc_close(fd), 0);
    }
}

TEST_F(Lights, NamesHaveAtMost31Characters) {
    const std::string name(31, 'n');
    board.put("/sys/class/backlight/" + name + "/brightness", "9\n");
    EXPECT_EQ(x_pwm_read_cycle(name.c_str(), &value), 0);
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(pwm_proc_open((name + "n").c_str()), -1); }), Calls{});
}

TEST_F(Lights, FailuresCloseTheDescriptor) {
    value = 255;
    EXPECT_EQ(x_pwm_set_cycle("missing", 5), -1);
    EXPECT_EQ(x_pwm_read_cycle("missing", &value), -1);
    EXPECT_EQ(value, 255u);
    const Remains before = remains();
    const auto set = [] { return x_pwm_set_cycle("panel", 50); };
    const auto get = [&] { return x_pwm_read_cycle("panel", &value); };
    EXPECT_EQ(with_fault({.name = "write"}, set), -1);
    EXPECT_EQ(with_fault({.name = "write", .has_result = true, .result = 2}, set), -1);
    EXPECT_EQ(with_fault({.name = "read"}, get), -1);
    EXPECT_EQ(value, 100u) << "converted all the same";
    put_brightness("bright");
    EXPECT_EQ(get(), -1);
    EXPECT_EQ(remains(), before);
}

TEST_F(Lights, LedHasNoFilesOnThisBoardAndGivesWayToTheApplications) {
    EXPECT_EQ(calls_of([] {
                  for (const unsigned colour : {0u, 1u, 2u, 3u, 255u})
                      EXPECT_EQ(led_drive_set_value(static_cast<uint8_t>(colour), 50), -1);
              }),
              Calls{});
    Dl_info where;
    const ElfW(Sym) *symbol = nullptr;
    void *const address = reinterpret_cast<void *>(led_drive_set_value);
    ASSERT_NE(dladdr1(address, &where, reinterpret_cast<void **>(const_cast<ElfW(Sym) **>(&symbol)), RTLD_DL_SYMENT),
              0);
    EXPECT_EQ(ELF64_ST_BIND(symbol->st_info), STB_WEAK);
}

TEST_F(Lights, LedChannelsWithAFileAreDrivenInWholePercentCutDown) {
    const std::string file = path("red");
    const LedChannel channel{"RED", 2, file.c_str(), 0};
    const Remains before = remains();
    const struct {
        std::uint8_t percent;
        const char *text;
    } cases[] = {{100, "255"}, {50, "127"}, {1, "2"}, {0, "0"}, {101, "1"}, {255, "138"}};
    for (const auto &c : cases) {
        EXPECT_EQ(drive_led_channel(channel, c.percent), 0);
        EXPECT_EQ(get("red"), c.text);
    }
    EXPECT_EQ(calls_of([&] { drive_led_channel(channel, 50); }),
              (Calls{"fopen(" + file + ", w)", "fwrite(3 '127')", "fclose()"}));
    for (const char *call : {"fopen", "fwrite", "fclose"})
        EXPECT_EQ(with_fault({.name = call}, [&] { return drive_led_channel(channel, 50); }), -1) << call;
    EXPECT_EQ(drive_led_channel({"RED", 1, path("other").c_str(), 0}, 50), -1);
    EXPECT_FALSE(exists("other"));
    EXPECT_EQ(remains(), before);
}

}  // namespace
}  // namespace ostdrv::test
