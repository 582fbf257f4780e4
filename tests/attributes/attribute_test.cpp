// Attribute files as lines, inputs, lights and plain files read and write them: what texts mean, which calls are made,
// and what a transfer that goes wrong says.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>

#include "analog/led_channel.hpp"
#include "attributes/calls.hpp"

namespace ostdrv::test {
namespace {

const std::string line = "/sys/class/gpio/gpio7", input = "/var/tmp/adc/in_voltage3_raw",
                  panel = "/sys/class/backlight/panel/brightness", any = "/sys/class/thermal/thermal_zone0/temp";
const char *const attribute = any.c_str();

class Attributes : public World {
 public:
    int value = -99;
    unsigned raw = 0;
    float temp = 7;

    void SetUp() override { EXPECT_EQ(x_gpio_util_export(7), 0); }
    int thermistor(int full_scale = 4096) { return ntc_temp_read(3, 10000, 3950, 10000, full_scale, &temp); }
    int read_light() {
        raw = static_cast<unsigned>(value);
        const int fd = pwm_proc_open("panel");
        const int status = pwm_proc_read(fd, &raw);
        value = static_cast<int>(raw);
        return status + pwm_proc_close(fd);
    }
    // A call that makes these system calls and returns this.
    void expect_calls(int result, const std::string &calls, const std::function<int()> &call) const {
        const auto made = calls_of([&] { EXPECT_EQ(call(), result) << calls; });
        EXPECT_EQ(short_calls(made, {line, input, panel, any, path("file")}), calls);
    }
    // A call that reads these numbers from these texts in turn, and nothing from a file without any.
    void expect_values(int when_empty, const std::string &file, const std::vector<std::string> &texts,
                       const std::vector<int> &numbers, const std::function<int()> &read) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            board.put(file, texts[i]);
            EXPECT_EQ(read(), 0) << file << " " << texts[i];
            EXPECT_EQ(value, numbers.at(i)) << file << " " << texts[i];
        }
        board.put(file, "");
        value = -99;
        errno = ENODEV;
        EXPECT_EQ(read(), when_empty) << file;
        EXPECT_EQ(value, -99) << file;
    }
};

TEST_F(Attributes, TextsAreReadAsNumbers) {
    const std::string blanks(127, ' '), too_long = "bothrisingfallingnone";
    expect_values(-ENODEV, any,
                  {"42\n", "abc", "-7", "8", "  +9 rest", "00000000000000012345", "4294967298\n", "-2147483648"},
                  {42, 0, -7, 8, 9, 1, 2, INT_MIN}, [&] { return x_sysfs_read_int(attribute, &value); });
    expect_values(-1, panel,
                  {"8", "4294967295", "4294967297", "-1\n", " 12 rest", "99999999999999999999" /* 15 digits count */},
                  {8, -1, 1, -1, 12, -1530494977}, [&] { return read_light(); });
    expect_values(-1, input, {"1234\n", "  -7x", "4294967298\n", blanks + "42"}, {1234, -7, 2, 4},
                  [&] { return (value = adc_read_impl(3)) == -1 ? value = -99, -1 : 0; });
    expect_values(-1, line + "/direction", {"in\n", "out\n", "I"}, {0, 1, 1},
                  [&] { return x_gpio_util_get_direction(7, &value); });
    expect_values(-1, line + "/value", {"1\n", "0\n", "2\n"}, {1, 0, 0}, [&] { return x_gpio_util_get(7, &value); });
    expect_values(-1, line + "/edge", {"falling\n", "rising\n", "both", "none\n", "rising\nboth\n", too_long},
                  {0, 1, 2, 3, 1, 3}, [&] { return x_gpio_util_get_edge(7, &value); });
    expect_values(-1, line + "/active_low", {"0\n", "1\n", "93\n", "x\n"}, {0, 1, 9, 0},
                  [&] { return x_gpio_util_get_active_low(7, &value); });
    board.put(panel, "dim\n");
    EXPECT_EQ(read_light(), -1);
    EXPECT_EQ(value, 0) << "stored all the same";
}

TEST_F(Attributes, TemperaturesAreExactToTheBit) {
    const auto expect = [&](const char *sample, int full_scale, float degrees) {
        board.put(input, sample);
        EXPECT_EQ(thermistor(full_scale), 0);
        EXPECT_TRUE(temp == degrees || (std::isnan(temp) && std::isnan(degrees))) << sample << ": " << temp;
    };
    expect("2048", 4096, 25.0f);
    expect("2048", 4095, 24.989013671875f);
    expect("1000", 4095, 52.795867919921875f);
    expect("4096", 4096, -273.15f);
    expect("0", 4096, -273.15f);
    expect("-1", 4096, NAN);
    for (const auto &[text, degrees] : {std::pair{"45500\n", 45.5f}, {"-1\n", -0.001f}, {"", 0.0f}}) {
        board.put(any, text);
        errno = 0;  // an empty file is an error only when one is said
        EXPECT_EQ(ntc_sysfs_temp_read(attribute, &temp), 0);
        EXPECT_EQ(temp, degrees);
    }
}

TEST_F(Attributes, OnlyASampleThatGivesNothingIsReported) {
    const auto errors = [&] {
        testing::internal::CaptureStderr();
        EXPECT_EQ(adc_read_impl(3), -1);
        errno = EIO;
        EXPECT_EQ(thermistor(), -1);
        return testing::internal::GetCapturedStderr();
    };
    temp = 7;
    board.put(input, "");
    errno = EIO;
    EXPECT_EQ(errors(), "read: Input/output error\nread: Input/output error\n");
    for (const char *no_number : {"volts", "\n"}) {
        board.put(input, no_number);
        EXPECT_EQ(errors(), "");
    }
    board.remove("/var/tmp/adc");
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(temp, 7);
}

TEST_F(Attributes, PercentagesAreRoundedBothWaysAndCutDownForTheLed) {
    for (const auto &[percent, text] :
         {std::pair{0u, "0\n"}, {1, "3\n"}, {10, "26\n"}, {30, "77\n"}, {50, "128\n"}, {99, "252\n"}, {100, "255\n"}}) {
        EXPECT_EQ(x_pwm_set_cycle("panel", percent), 0);
        EXPECT_EQ(board.get(panel), text);
        EXPECT_EQ(x_pwm_read_cycle("panel", &raw), 0);
        EXPECT_EQ(raw, percent);
    }
    const std::string file = path("red");
    for (const auto &[percent, text] : {std::pair{100, "255"}, {50, "127"}, {1, "2"}, {101, "1"}}) {
        EXPECT_EQ(drive_led_channel({"RED", 2, file.c_str(), 0}, static_cast<std::uint8_t>(percent)), 0);
        EXPECT_EQ(get("red"), text);
    }
    const int channels[] = {4, 7, 9};
    EXPECT_EQ(x_pwm_is_valid_channel(3, channels, 9), 0);
    EXPECT_EQ(x_pwm_is_valid_channel(2, channels, 9) + x_pwm_is_valid_channel(0, nullptr, 4), -2);

    Dl_info where;
    void *symbol = nullptr;
    ASSERT_NE(dladdr1(reinterpret_cast<void *>(led_drive_set_value), &where, &symbol, RTLD_DL_SYMENT), 0);
    EXPECT_EQ(ELF64_ST_BIND(static_cast<const ElfW(Sym) *>(symbol)->st_info), STB_WEAK) << "an application's own goes";
}

TEST_F(Attributes, ExactlyTheseSystemCallsAreMade) {
    const std::string asks = "access(~) ", reads = "open(~/direction) read(1) close()", knows = asks + asks + reads;
    const std::string out = " open(~/direction) write(3 'out') close()",
                      in = " open(~/direction) write(2 'in') close()";
    expect_calls(0, "access(~)", [] { return x_gpio_util_export(7); });
    expect_calls(0, "access(/sys/class/gpio/gpio12) open(/sys/class/gpio/export) write(2 '12') close()",
                 [] { return x_gpio_util_export(12); });
    expect_calls(0, asks + reads, [&] { return x_gpio_util_get_direction(7, &value); });
    expect_calls(0, knows, [] { return x_gpio_util_direction(7, 0); });
    expect_calls(0, knows + out, [] { return x_gpio_util_direction(7, 1); });
    expect_calls(0, knows, [] { return x_gpio_util_direction(7, 1); });
    expect_calls(0, knows + out, [] { return x_gpio_util_direction(7, 2); });
    expect_calls(0, asks + knows + " open(~/value) write(1 '0') close()", [] { return x_gpio_util_set(7, 0); });
    expect_calls(0, knows + in, [] { return x_gpio_util_direction(7, 0); });
    expect_calls(0, asks + knows + out + " open(~/value) write(1 '1') close()", [] { return x_gpio_util_set(7, 5); });
    expect_calls(0, asks + "open(~/value) read(1) close()", [&] { return x_gpio_util_get(7, &value); });
    expect_calls(0, knows + in, [] { return x_gpio_util_direction(7, 0); });
    expect_calls(0, asks + "open(~/edge) write(7 'falling') close()", [] { return x_gpio_util_edge(7, 0); });
    expect_calls(0, asks + "open(~/edge) write(4 'both') close()", [] { return x_gpio_util_edge(7, 2); });
    expect_calls(0, asks + "open(~/edge) read(19) close()", [&] { return x_gpio_util_get_edge(7, &value); });
    expect_calls(0, asks + "open(~/active_low) read(1) close()", [&] { return x_gpio_util_get_active_low(7, &value); });
    expect_calls(0, asks + "open(~/active_low) write(1 '1') close()", [] { return x_gpio_util_active_low(7, -3); });
    expect_calls(0, asks + "open(~/active_low) write(1 '0') close()", [] { return x_gpio_util_active_low(7, 0); });
    for (const unsigned edge : {3u, ~0u}) expect_calls(-1, "", [&] { return x_gpio_util_edge(7, edge); });

    board.put(input, "8");
    expect_calls(8, "open(~) read(128) close() usleep(100000) open(~) read(128) close()", [] { return adc_read(3); });
    expect_calls(0, "open(~) read(128) close()", [&] { return thermistor(); });
    expect_calls(0, "open(~) write(3 '128') close()", [] { return x_pwm_set_cycle("panel", 50); });
    expect_calls(-1, "open(~) write(10 '2147483645') close()", [] { return x_pwm_set_cycle("panel", 842150449); });
    expect_calls(-1, "open(~) write(10 '2147483647') close()", [] { return x_pwm_set_cycle("panel", UINT_MAX); });
    expect_calls(-1, "open(/sys/class/backlight/none/brightness)", [] { return x_pwm_set_cycle("none", 50); });
    board.put(panel, "510\n");
    expect_calls(0, "open(~) read(15) close()", [&] { return x_pwm_read_cycle("panel", &raw); });
    EXPECT_EQ(raw, 200u);
    const std::string name(31, 'n'), brightness = "/sys/class/backlight/" + name + "/brightness";
    board.put(brightness, "9\n");
    expect_calls(0, "open(" + brightness + ") read(15) close()", [&] { return x_pwm_read_cycle(name.c_str(), &raw); });
    expect_calls(-1, "", [&] { return pwm_proc_open((name + "n").c_str()); });
    for (const int fd : {0, -1}) expect_calls(-2, "", [&] { return pwm_proc_write(fd, 1) + pwm_proc_read(fd, &raw); });
    expect_calls(-1, "close()", [] { return pwm_proc_close(-1); });
    for (const int led : {0, 2, 3, 255})
        expect_calls(-1, "", [&] { return led_drive_set_value(static_cast<std::uint8_t>(led), 50); });

    const std::string file = put("file", ""), data(10000, 'b');
    std::string buffer(10000, '\0');
    const LedChannel red{"RED", 2, file.c_str(), 0}, other{"RED", 1, file.c_str(), 0};
    expect_calls(0, "open(~) lseek(256) write(4096 '') write(4096 '') write(1808 '') close()",
                 [&] { return x_sysfs_write_bytes(file.c_str(), data.data(), 256, 10000); });
    expect_calls(0, "open(~) lseek(256) read(4096) read(4096) read(1808) close()",
                 [&] { return x_sysfs_read_bytes(file.c_str(), buffer.data(), 256, 10000); });
    EXPECT_EQ(buffer, data);
    expect_calls(0, "open(~) write(0 '') close()", [&] { return x_sysfs_write_bytes(file.c_str(), nullptr, 0, 0); });
    expect_calls(0, "fopen(~, w) fwrite(3 '127') fclose()", [&] { return drive_led_channel(red, 50); });
    expect_calls(-1, "", [&] { return drive_led_channel(other, 50); });
    expect_calls(0, "open(~) write(11 '-2147483648') close()",
                 [&] { return x_sysfs_write_int(file.c_str(), INT_MIN); });
    expect_calls(0, "open(~) read(16) close()", [&] { return x_sysfs_read_int(file.c_str(), &value); });
    EXPECT_EQ(value, INT_MIN);
}

TEST_F(Attributes, WhatGoesWrongIsSaid) {
    const auto expect = [&](int result, const sim::Fault &fault, const std::function<int()> &call) {
        EXPECT_EQ(with_fault(fault, call), result) << fault.name << fault.result;
    };
    const auto write_ends = [](long with) { return sim::Fault{.name = "write", .has_result = true, .result = with}; };
    expect(0, write_ends(0), [] { return x_gpio_util_direction(7, 1); });
    expect(0, write_ends(0), [] { return x_gpio_util_edge(7, 1); });
    expect(-1, write_ends(0), [] { return x_gpio_util_active_low(7, 1); });
    expect(-1, write_ends(1), [] { return x_gpio_util_export(30); });
    expect(-1, write_ends(2), [] { return x_pwm_set_cycle("panel", 50); });
    EXPECT_EQ(x_gpio_util_direction(7, 1), 0);
    expect(-1, write_ends(0), [] { return x_gpio_util_set(7, 1); });
    expect(-ENOSPC, {.name = "write", .error = ENOSPC}, [] { return x_sysfs_write_int(panel.c_str(), 123); });
    expect(-ENODEV, {.name = "read", .error = ENODEV}, [&] { return x_sysfs_read_int(attribute, &value); });
    board.put(input, "8");
    expect(8, {.name = "open"}, [] { return adc_read(3); });
    raw = 255;
    expect(-1, {.name = "open"}, [&] { return x_pwm_read_cycle("panel", &raw); });
    EXPECT_EQ(raw, 255u);
    expect(-1, {.name = "read"}, [&] { return x_pwm_read_cycle("panel", &raw); });
    EXPECT_EQ(raw, 100u) << "converted all the same";
    const std::string data(10000, 'b'), file = put("file", data);
    sim::Fault second_write = write_ends(4095);
    second_write.nth = 2;
    expect(-1, second_write, [&] { return x_sysfs_write_bytes(file.c_str(), data.data(), 0, 10000); });
    EXPECT_EQ(sim::fault_plan::log().size(), 4u) << "no third chunk after a short one";
    const Remains before = remains();
    for (const char *call : {"fopen", "fwrite", "fclose"})
        expect(-1, {.name = call}, [&] { return drive_led_channel({"RED", 2, file.c_str(), 0}, 50); });
    EXPECT_EQ(remains(), before);

    rlimit whole, two_bytes;
    getrlimit(RLIMIT_FSIZE, &whole);
    two_bytes = {2, whole.rlim_max};
    put("file", "");
    setrlimit(RLIMIT_FSIZE, &two_bytes);
    errno = ENOENT;
    const int short_write = x_sysfs_write_int(file.c_str(), 123);
    setrlimit(RLIMIT_FSIZE, &whole);
    EXPECT_EQ(short_write, 0) << "an error from before is not this one's";
}

TEST_F(Attributes, BytesEndAtAShortChunkWhoseLastNewlineGoes) {
    const std::string page(4096, 'p'), nul(1, '\0');
    const auto expect = [&](int status, const std::string &read, const std::string &content, unsigned length) {
        std::string buffer(8200, '\0');
        EXPECT_EQ(x_sysfs_read_bytes(put("file", content).c_str(), buffer.data(), 0, length), status);
        EXPECT_EQ(buffer, read + std::string(8200 - read.size(), '\0')) << length;
    };
    expect(0, "1\n", "1\n\n", 16);
    expect(0, "ab\n", "ab\n", 3);
    expect(0, "", "\n", 3);
    expect(0, "a" + nul + nul + "b\n", "a\n" + nul + "b\n", 16);
    expect(0, nul + "b\n", nul + "b\n", 16);
    expect(-1, "", "", 16);
    expect(0, "", "", 0);
    expect(-1, page, page, 8192);
    expect(0, page + "xy", page + "xy\n", 8192);

    const std::string edges = "none rising falling both\n", long_text = std::string(253, 'x') + " yes";  // 257 bytes
    const std::string just_256 = std::string(252, 'x') + " ye\n";
    for (const auto &[word, result, text] : {std::tuple{"both", 1, edges},
                                             {"bot", 0, edges},
                                             {"Rising", 0, edges},
                                             {"none\n", 0, edges},
                                             {"b", 1, std::string("  a   b ")},
                                             {"b", 0, std::string("a\tb")},
                                             {"a\tb", 1, std::string("a\tb")},
                                             {"x", -1, std::string()},
                                             {"ye", 1, long_text},
                                             {"yes", 0, long_text},
                                             {"ye", 0, just_256},
                                             {"ye\n", 1, just_256}})
        EXPECT_EQ(x_sysfs_contains(put("file", text).c_str(), word), result) << text << " / " << word;
}

TEST_F(Attributes, MissingFilesAreNotMade) {
    const std::string missing = path("missing"), link = path("link");
    unsigned size = 7;
    EXPECT_EQ(x_sysfs_read_int(missing.c_str(), &value) + x_sysfs_write_int(missing.c_str(), 1), -2);
    EXPECT_EQ(x_sysfs_write_bytes(missing.c_str(), "1", 0, 1) + x_pwm_read_cycle("missing", &raw), -2);
    EXPECT_FALSE(exists("missing"));
    ASSERT_EQ(symlink(missing.c_str(), link.c_str()), 0);
    for (const int status : {-1, 0}) {
        EXPECT_EQ(x_sysfs_size(link.c_str(), &size), status);
        EXPECT_EQ(x_sysfs_exists(link.c_str()), status);
        EXPECT_EQ(size, status ? 7u : 5u);
        put("missing", "12345");
    }
}

TEST_F(Attributes, SignalsDoNotShortenThePauseBetweenSamples) {
    board.put(input, "8");
    const auto handler = std::signal(SIGALRM, [](int) {});
    const itimerval often{{0, 10000}, {0, 10000}}, never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adc_read(3), 8);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    setitimer(ITIMER_REAL, &never, nullptr);
    std::signal(SIGALRM, handler);
}

}  // namespace
}  // namespace ostdrv::test
