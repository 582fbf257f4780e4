#include <cmath>
#include <limits>

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
    static int kelvin_like(float *temp, int full_scale = 4096) {
        return ntc_temp_read(3, 10000, 3950, 10000, full_scale, temp);
    }
};

TEST_F(Analog, SamplesAreTheLeadingNumber) {
    const struct {
        std::string text;
        int raw;
    } cases[] = {{"1234\n", 1234},
                 {"  -7x", -7},
                 {"+5\n", 5},
                 {"volts\n", -1},
                 {"\n", -1},
                 {"-\n", -1},
                 {"4294967298\n", 2},
                 {std::string(127, ' ') + "42", 4},
                 {std::string(128, ' ') + "42", -1}};
    for (const auto &c : cases) {
        put_sample(c.text);
        EXPECT_EQ(errors_of([&] { EXPECT_EQ(adc_read_impl(3), c.raw) << c.text; }), "");
    }
}

TEST_F(Analog, OnlyAReadThatGivesNothingIsReported) {
    float temp = 7;
    put_sample("");
    errno = EIO;
    EXPECT_EQ(errors_of([] { EXPECT_EQ(adc_read_impl(3), -1); }), "read: Input/output error\n");
    put_sample("12");
    const auto sample = [] { return adc_read_impl(3); };
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(with_fault({.name = "read", .error = ENODEV}, sample), -1); }),
              "read: No such device\n");
    const auto convert = [&] { return kelvin_like(&temp); };
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(with_fault({.name = "read", .error = ENODEV}, convert), -1); }),
              "read: No such device\n");
    put_sample("volts");
    EXPECT_EQ(convert(), -1);
    board.remove("/var/tmp/adc");
    EXPECT_EQ(errors_of([&] {
                  EXPECT_EQ(adc_read_impl(3), -1);
                  EXPECT_EQ(adc_read(3), -1);
                  EXPECT_EQ(convert(), -1);
              }),
              "");
    EXPECT_EQ(temp, 7);
}

TEST_F(Analog, ASettledSampleIsTheSecondOfTwo) {
    put_sample("8");
    const Calls sample{"open(" + channel3 + ")", "read(128)", "close()"};
    Calls settled = sample;
    settled.push_back("usleep(100000)");
    settled.insert(settled.end(), sample.begin(), sample.end());
    EXPECT_EQ(calls_of([] { EXPECT_EQ(adc_read(3), 8); }), settled);
    EXPECT_EQ(with_fault({.name = "open"}, [] { return adc_read(3); }), 8) << "the first one may fail";
    EXPECT_EQ(with_fault({.name = "open", .nth = 2}, [] { return adc_read(3); }), -1);
    EXPECT_EQ(calls_of([] {
                  float temp;
                  kelvin_like(&temp);
              }),
              sample)
        << "a temperature does not settle";
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
    for (const auto &c : cases) {
        put_sample(c.raw);
        float temp = 7;
        EXPECT_EQ(kelvin_like(&temp, c.full_scale), 0);
        EXPECT_EQ(temp, c.temp) << c.raw << " of " << c.full_scale;
    }
    for (const char *raw : {"4097", "-1"}) {
        put_sample(raw);
        float temp = 7;
        EXPECT_EQ(kelvin_like(&temp), 0) << "a reading of -1 is one";
        EXPECT_TRUE(std::isnan(temp)) << raw;
    }
}

TEST_F(Analog, KernelTemperaturesAreMillidegrees) {
    float temp = 7;
    for (const auto &[text, degrees] : {std::pair{"45500\n", 45.5f}, {"-1\n", -0.001f}, {"0", 0.0f}}) {
        EXPECT_EQ(ntc_sysfs_temp_read(put("temp", text).c_str(), &temp), 0);
        EXPECT_EQ(temp, degrees);
    }
    temp = 7;
    EXPECT_EQ(ntc_sysfs_temp_read(path("missing").c_str(), &temp), -1);
    errno = ENOENT;
    EXPECT_EQ(ntc_sysfs_temp_read(put("temp", "").c_str(), &temp), -1);
    EXPECT_EQ(temp, 7);
    errno = 0;
    EXPECT_EQ(ntc_sysfs_temp_read(path("temp").c_str(), &temp), 0);
    EXPECT_EQ(temp, 0);
}

}  // namespace
}  // namespace ostdrv::test
