// ostdrv adc and temp: analog inputs and what is measured with them.
#include <ostdrv.h>

#include <cmath>
#include <cstdio>
#include <iostream>

#include "families.hpp"
#include "repeat.hpp"
#include "thermistor.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::vector<std::string> channels;
    std::string sysfs;
    int ntc_channel = -1;
    struct {
        int r_nominal = 10000, beta = 3950, r_series = 10000, full_scale = 4096;
    } ntc;
    bool at_once = false, json = false;
    Repeat repeat;
} options;

void sample() {
    Json result = Json::object();
    for (const std::string &text : options.channels) {
        const auto channel = static_cast<int>(parse_number(text, "CHANNEL", 0, std::numeric_limits<int>::max()));
        const int raw = options.at_once ? adc_read_impl(channel) : adc_read(channel);
        if (raw == -1) throw Failure("cannot sample channel " + std::to_string(channel));
        if (options.json)
            result[std::to_string(channel)] = raw;
        else
            std::cout << channel << "=" << raw << "\n";
    }
    if (options.json) print(result);
}

float read_temperature() {
    float celsius = 0;
    const auto &ntc = options.ntc;
    const int status = options.sysfs.empty() ? ntc_temp_read(options.ntc_channel, ntc.r_nominal, ntc.beta, ntc.r_series,
                                                             ntc.full_scale, &celsius)
                                             : ntc_sysfs_temp_read(options.sysfs.c_str(), &celsius);
    if (status != 0)
        throw Failure("cannot read " +
                      (options.sysfs.empty() ? "channel " + std::to_string(options.ntc_channel) : options.sysfs));
    if (std::isnan(celsius)) throw Failure("the sample lies above full scale");
    return celsius;
}

void temperature() {
    const float celsius = read_temperature();
    if (options.json) return print({{"celsius", celsius}});
    std::printf("%.2f\n", static_cast<double>(celsius));
    std::fflush(stdout);
}

}  // namespace

void add_analog(CLI::App &app) {
    CLI::App &adc = subcommand(app, "adc", "Print raw samples of analog inputs");
    adc.add_option("CHANNELS", options.channels, "Channel numbers")->required()->type_name("CHANNEL...");
    adc.add_flag("--at-once", options.at_once, "Take one sample, without letting the input settle for 100 ms");
    add_repeat(adc, options.repeat);
    add_json(adc, options.json);
    adc.callback([] { repeatedly(options.repeat, sample); });

    CLI::App &temp = subcommand(app, "temp", "Print a temperature in degrees Celsius");
    auto *const source = temp.add_option_group("source", "Where it comes from");
    add_number(*source, "--ntc", options.ntc_channel, "A thermistor on this ADC channel", 0);
    source->add_option("--sysfs", options.sysfs, "An attribute in millidegrees")->type_name("PATH");
    source->require_option(1);
    add_thermistor(temp, options.ntc);
    add_repeat(temp, options.repeat);
    add_json(temp, options.json);
    temp.callback([] { repeatedly(options.repeat, temperature); });
}

}  // namespace ostdrv::tool
