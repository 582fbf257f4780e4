#include <cmath>

#include "world.hpp"

namespace ostdrv::test {
namespace {

using Calls = std::vector<std::string>;

const std::string channel3 = "/var/tmp/adc/in_voltage3_raw";

class Analog : public World {
 public:
    void put_sample(const std::string &text) const { board.put(channel3, text); }
    static std::string errors_of(const std::function<void()> &action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }
    static int thermistor(float *temp, int full_scale = 4096) {
        return ntc_temp_read(3, 10000, 3950, 10000, full_scale, temp);
    }
};

TEST_F(Analog, SamplesAreTheLeadingNumber) {
    const std::pair<std::string, int> cases[] = {{"1234\n", 1234},    {"  -7x", -7}, {"volts\n", -1},
                                                 {"4294967298\n", 2}, {"\n", -1},    {std::string(127, ' ') + "42", 4}};
    for (const auto &[text, raw] : cases) {
        put_sample(text);
        EXPECT_EQ(errors_of([&, wanted = raw] { EXPECT_EQ(adc_read_impl(3), wanted); }), "") << text;
    }
}

TEST_F(Analog, OnlyAReadThatGivesNothingIsReported) {
    float temp = 7;
    const auto fail_all = [&] {
        EXPECT_EQ(adc_read_impl(3), -1);
        EXPECT_EQ(thermistor(&temp), -1);
    };
    put_sample("");
    errno = EIO;
    EXPECT_EQ(errors_of(fail_all), "read: Input/output error\nread: Input/output error\n");
    put_sample("volts");
    EXPECT_EQ(errors_of(fail_all), "");
    board.remove("/var/tmp/adc");
    EXPECT_EQ(errors_of(fail_all), "");
    EXPECT_EQ(temp, 7);
}

TEST_F(Analog, ASettledSampleIsTheSecondOfTwo) {
    put_sample("8");
    const std::string open = "open(" + channel3 + ")";
    EXPECT_EQ(calls_of([] { EXPECT_EQ(adc_read(3), 8); }),
              (Calls{open, "read(128)", "close()", "usleep(100000)", open, "read(128)", "close()"}));
    EXPECT_EQ(with_fault({.name = "open"}, [] { return adc_read(3); }), 8) << "the first one may fail";
    float temp;
    EXPECT_EQ(calls_of([&] { thermistor(&temp); }), (Calls{open, "read(128)", "close()"})) << "does not settle";
}

TEST_F(Analog, ThermistorTemperaturesAreExactToTheBit) {
    const struct {
        const char *raw;
        int full_scale;
        float temp;
    } cases[] = {{"2048", 4096, 25.0f},
                 {"2048", 4095, 24.989013671875f},
                 {"1000", 4095, 52.795867919921875f},
                 {"4096", 4096, -273.15f},
                 {"0", 4096, -273.15f}};
    float temp = 7;
    for (const auto &c : cases) {
        put_sample(c.raw);
        EXPECT_EQ(thermistor(&temp, c.full_scale), 0);
        EXPECT_EQ(temp, c.temp) << c.raw << " of " << c.full_scale;
    }
    put_sample("-1");
    EXPECT_EQ(thermistor(&temp), 0) << "a reading of -1 is one";
    EXPECT_TRUE(std::isnan(temp));
}

TEST_F(Analog, KernelTemperaturesAreMillidegrees) {
    float temp = 7;
    for (const auto &[text, degrees] : {std::pair{"45500\n", 45.5f}, {"-1\n", -0.001f}}) {
        EXPECT_EQ(ntc_sysfs_temp_read(put("temp", text).c_str(), &temp), 0);
        EXPECT_EQ(temp, degrees);
    }
    errno = 0;
    EXPECT_EQ(ntc_sysfs_temp_read(put("temp", "").c_str(), &temp), 0) << "no error said";
    EXPECT_EQ(temp, 0);
}

}  // namespace
}  // namespace ostdrv::test
