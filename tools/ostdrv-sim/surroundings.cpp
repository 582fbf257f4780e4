#include "surroundings.hpp"

#include "attributes.hpp"
#include "gpio_class.hpp"
#include "program.hpp"
#include "thermistor.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    int line = 0, channel = 0, raw = 0;
    bool high = false;
    double celsius = 0;
    sim::Thermistor thermistor;
    std::string path, value;
} options;

void add_line(CLI::App &app, const BoardOptions &board) {
    CLI::App &command = subcommand(app, "line", "Drive a GPIO line from outside");
    add_number(command, "LINE", options.line, "Its number", 0)->required();
    const std::map<std::string, bool> levels{{"high", true}, {"low", false}};
    command.add_option("LEVEL", options.high, "high or low")
        ->required()
        ->transform(CLI::CheckedTransformer(levels).description(""));
    command.callback([&board] {
        open_board(board);
        if (!sim::drive_line(options.line, options.high)) throw Failure("the board has no such line");
    });
}

void add_adc(CLI::App &app, const BoardOptions &board) {
    CLI::App &command = subcommand(app, "adc", "Set what an ADC channel samples");
    add_number(command, "CHANNEL", options.channel, "Its number", 0)->required();
    CLI::Option *const raw = add_number(command, "RAW", options.raw, "The sample");
    CLI::Option *const celsius =
        command.add_option("--celsius", options.celsius, "The sample of a thermistor at this temperature")
            ->type_name("DEGREES")
            ->excludes(raw);
    add_thermistor(command, options.thermistor);
    command.callback([&board, raw, celsius] {
        if (raw->count() + celsius->count() != 1) throw BadUsage("give either RAW or --celsius");
        open_board(board);
        const bool set = raw->count() > 0
                             ? sim::set_adc(options.channel, options.raw)
                             : sim::set_adc_temperature(options.channel, options.thermistor, options.celsius);
        if (!set) throw Failure("the board has no such channel");
    });
}

void add_temperature(CLI::App &app, const BoardOptions &board) {
    CLI::App &command = subcommand(app, "temperature", "Set /sys/class/thermal/thermal_zone0/temp");
    command.add_option("DEGREES", options.celsius, "Degrees Celsius")->required();
    command.callback([&board] {
        open_board(board);
        if (!sim::set_temperature(options.celsius)) throw system_failure("cannot set the temperature");
    });
}

void add_attribute(CLI::App &app, const BoardOptions &board) {
    CLI::App &command = subcommand(app, "attribute", "Replace the value of any attribute of the board");
    command.add_option("PATH", options.path, "Its path on the device")->required();
    command.add_option("VALUE", options.value, "Its value")->required();
    command.callback([&board] {
        open_board(board);
        if (!sim::set_attribute(options.path, options.value))
            throw Failure(options.path + " is not one of the board's");
    });
}

}  // namespace

void add_surroundings(CLI::App &app, const BoardOptions &board) {
    add_line(app, board);
    add_adc(app, board);
    add_temperature(app, board);
    add_attribute(app, board);
}

}  // namespace ostdrv::tool
