#include <dlfcn.h>
#include <elf.h>
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
};

TEST_F(Lights, ChannelsAreLookedUpInTheList) {
    const int channels[] = {4, 7, 9};
    EXPECT_EQ(x_pwm_is_valid_channel(3, channels, 9), 0);
    EXPECT_EQ(x_pwm_is_valid_channel(2, channels, 9), -1);
    EXPECT_EQ(x_pwm_is_valid_channel(0, nullptr, 4), -1);
}

TEST_F(Lights, PercentagesAreRoundedBothWays) {
    const struct {
        unsigned percent;
        const char *raw;
    } cases[] = {{0, "0"}, {1, "3"}, {10, "26"}, {30, "77"}, {50, "128"}, {99, "252"}, {100, "255"}};
    for (const auto &c : cases) {
        EXPECT_EQ(x_pwm_set_cycle("panel", c.percent), 0);
        EXPECT_EQ(board.get(panel), c.raw + std::string("\n"));
        EXPECT_EQ(x_pwm_read_cycle("panel", &value), 0);
        EXPECT_EQ(value, c.percent);
    }
}

TEST_F(Lights, TransfersAreOneSystemCallEachAndUnlimited) {
    const auto written = [](unsigned percent) { return calls_of([&] { x_pwm_set_cycle("panel", percent); }); };
    EXPECT_EQ(written(50), (Calls{"open(" + panel + ")", "write(3 '128')", "close()"}));
    EXPECT_EQ(written(842150449)[1], "write(10 '2147483645')");
    EXPECT_EQ(written(UINT_MAX)[1], "write(10 '2147483647')") << "the largest int";
    board.put(panel, "510\n");
    EXPECT_EQ(calls_of([&] { x_pwm_read_cycle("panel", &value); }),
              (Calls{"open(" + panel + ")", "read(15)", "close()"}));
    EXPECT_EQ(value, 200u);
    EXPECT_EQ(calls_of([&] {
                  for (const int fd : {0, -1}) {
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
    } cases[] = {{"4294967295", 0, UINT_MAX},
                 {"4294967297", 0, 1},
                 {"dim\n", -1, 0},
                 {"-1\n", 0, UINT_MAX},
                 {" 12 rest", 0, 12},
                 {"99999999999999999999", 0, 2764472319u /* of 15 digits */},
                 {"", -1, 99}};
    for (const auto &c : cases) {
        board.put(panel, c.text);
        const int fd = pwm_proc_open("panel");
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

TEST_F(Lights, FailuresConvertWhatWasOpenedOnly) {
    value = 255;
    EXPECT_EQ(x_pwm_read_cycle("missing", &value), -1);
    EXPECT_EQ(value, 255u);
    EXPECT_EQ(with_fault({.name = "read"}, [&] { return x_pwm_read_cycle("panel", &value); }), -1);
    EXPECT_EQ(value, 100u) << "converted all the same";
    const sim::Fault short_write{.name = "write", .has_result = true, .result = 2};
    EXPECT_EQ(with_fault(short_write, [] { return x_pwm_set_cycle("panel", 50); }), -1);
}

TEST_F(Lights, LedHasNoFilesOnThisBoardAndGivesWayToTheApplications) {
    EXPECT_EQ(calls_of([] {
                  for (const int colour : {0, 2, 3, 255})
                      EXPECT_EQ(led_drive_set_value(static_cast<uint8_t>(colour), 50), -1);
              }),
              Calls{});
    Dl_info where;
    void *symbol = nullptr;
    ASSERT_NE(dladdr1(reinterpret_cast<void *>(led_drive_set_value), &where, &symbol, RTLD_DL_SYMENT), 0);
    EXPECT_EQ(ELF64_ST_BIND(static_cast<const ElfW(Sym) *>(symbol)->st_info), STB_WEAK);
}

TEST_F(Lights, LedChannelsWithAFileAreDrivenInWholePercentCutDown) {
    const std::string file = path("red");
    const LedChannel channel{"RED", 2, file.c_str(), 0};
    const std::pair<std::uint8_t, const char *> cases[] = {{100, "255"}, {50, "127"}, {1, "2"}, {101, "1"}};
    for (const auto &[percent, text] : cases) {
        EXPECT_EQ(drive_led_channel(channel, percent), 0);
        EXPECT_EQ(get("red"), text);
    }
    const auto drive = [&] { return drive_led_channel(channel, 50); };
    EXPECT_EQ(calls_of(drive), (Calls{"fopen(" + file + ", w)", "fwrite(3 '127')", "fclose()"}));
    const Remains before = remains();
    for (const char *call : {"fopen", "fwrite", "fclose"}) EXPECT_EQ(with_fault({.name = call}, drive), -1) << call;
    EXPECT_EQ(remains(), before);
}

}  // namespace
}  // namespace ostdrv::test
