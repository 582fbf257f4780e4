// ostdrv adc and temp: analog inputs and what is measured with them.
#include <ostdrv.h>

#include <cmath>
#include <cstdio>

#include "attribute.hpp"
#include "families.hpp"
#include "output.hpp"
#include "repeat.hpp"
#include "thermistor.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::vector<int> channels;
    std::string sysfs;
    int ntc_channel = -1;
    struct {
        int r_nominal = 10000, beta = 3950, r_series = 10000, full_scale = 4096;
    } ntc;
    bool at_once = false;
    Output output;
    Repeat repeat;
} options;

constexpr char adc_directory[] = "/var/tmp/adc";

// The library tells that a channel failed, not why.
void require_channel(int channel) {
    const std::string path = std::string(adc_directory) + "/in_voltage" + std::to_string(channel) + "_raw";
    try {
        require_number(path);
    } catch (const Failure &failure) {
        throw Failure("cannot sample channel " + std::to_string(channel) + ": " + failure.what() +
                      missing_hint(adc_directory));
    }
}

void sample() {
    for (const int channel : options.channels) {
        require_channel(channel);
        const int raw = options.at_once ? adc_read_impl(channel) : adc_read(channel);
        if (raw == -1)
            throw Failure("cannot sample channel " + std::to_string(channel) + ": it reads -1, as a failure does");
        options.output.print_next({{"channel", channel}, {"raw", raw}},
                                  std::to_string(channel) + "=" + std::to_string(raw));
    }
}

constexpr float coldest = -273.15F;

double thermistor_temperature() {
    const auto &ntc = options.ntc;
    const std::string channel = "channel " + std::to_string(options.ntc_channel);
    require_channel(options.ntc_channel);
    float celsius = 0;
    if (ntc_temp_read(options.ntc_channel, ntc.r_nominal, ntc.beta, ntc.r_series, ntc.full_scale, &celsius) != 0)
        throw Failure("cannot sample " + channel);
    const std::string scale = "the scale of 0 to " + std::to_string(ntc.full_scale);
    if (std::isnan(celsius)) throw Failure("the sample of " + channel + " lies outside " + scale);
    // The end that a short circuit gives, and the one of an open one: both come out as absolute zero.
    if (!std::isfinite(celsius) || celsius <= coldest + 0.01F)
        throw Failure("the sample of " + channel + " lies at the end of " + scale +
                      ": the thermistor is shorted or not connected");
    return static_cast<double>(celsius);
}

double attribute_temperature() {
    require_number(options.sysfs);
    float celsius = 0;
    if (ntc_sysfs_temp_read(options.sysfs.c_str(), &celsius) != 0) throw Failure("cannot read " + options.sysfs);
    if (celsius < coldest) throw Failure(options.sysfs + " lies at the end of its scale: it is below absolute zero");
    return static_cast<double>(celsius);
}

void temperature() {
    const double celsius = options.sysfs.empty() ? thermistor_temperature() : attribute_temperature();
    char text[64];
    // No "-0.00".
    std::snprintf(text, sizeof text, "%.2f", std::abs(celsius) < 0.005 ? 0.0 : celsius);
    options.output.print_next({{"celsius", celsius}}, text);
}

}  // namespace

void add_analog(Command &program) {
    Command &adc = program.add_command("adc", "Print raw samples of analog inputs");
    adc.add_numbers("CHANNEL", options.channels, "Channel numbers", 0).required();
    adc.add_flag("--at-once", options.at_once, "Take one sample, without letting the input settle for 100 ms");
    add_repeat(adc, options.repeat);
    options.output.add_to(adc);
    adc.examples({"ostdrv adc 0 1 2", "ostdrv adc 3 --watch 500 --json"});
    adc.action([] { repeatedly(options.repeat, sample); });

    Command &temp = program.add_command("temp", "Print a temperature in degrees Celsius");
    Option &ntc = temp.add_number("--ntc", options.ntc_channel, "A thermistor on this ADC channel", 0).form("CHANNEL");
    Option &sysfs = temp.add_text("--sysfs", options.sysfs, "An attribute in millidegrees").form("PATH");
    temp.require_either(ntc, sysfs);
    add_thermistor(temp, options.ntc);
    add_repeat(temp, options.repeat);
    options.output.add_to(temp);
    temp.examples({"ostdrv temp --ntc 3 --beta 3435", "ostdrv temp --sysfs /sys/class/thermal/thermal_zone0/temp"});
    temp.action([] { repeatedly(options.repeat, temperature); });
}

}  // namespace ostdrv::tool
