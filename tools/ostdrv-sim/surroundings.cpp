#include "surroundings.hpp"

#include <cstdio>

#include "attributes.hpp"
#include "gpio_class.hpp"
#include "thermistor.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    int line = 0, channel = 0, raw = 0;
    std::size_t level = 0;
    double celsius = 0;
    sim::Thermistor thermistor;
    std::string path, value;
} options;

void add_line(Command &program, const BoardOptions &board) {
    Command &command = program.add_command("line", "Drive a GPIO line from outside");
    command.add_number("LINE", options.line, "Its number", 0).required();
    command.add_choice("LEVEL", options.level, {"low", "high"}, "Where to").required();
    command.examples({"ostdrv-sim --root board line 3 high"});
    command.action([&board] {
        open_board(board);
        if (!sim::drive_line(options.line, options.level == 1)) throw Failure("the board has no such line");
    });
}

void add_adc(Command &program, const BoardOptions &board) {
    Command &command = program.add_command("adc", "Set what an ADC channel samples");
    command.add_number("CHANNEL", options.channel, "Its number", 0).required();
    Option &raw = command.add_number("RAW", options.raw, "The sample");
    Option &celsius = command.add_real("--celsius", options.celsius, "The sample of a thermistor at this temperature")
                          .form("DEGREES");
    command.require_either(raw, celsius);
    add_thermistor(command, options.thermistor);
    command.examples({"ostdrv-sim --root board adc 3 --celsius 36.6"});
    command.action([&board, &raw] {
        open_board(board);
        const bool set = raw.given() ? sim::set_adc(options.channel, options.raw)
                                     : sim::set_adc_temperature(options.channel, options.thermistor, options.celsius);
        if (!set) throw Failure("the board has no such channel");
    });
}

void add_temperature(Command &program, const BoardOptions &board) {
    Command &command = program.add_command("temperature", "Set /sys/class/thermal/thermal_zone0/temp");
    command.add_real("DEGREES", options.celsius, "Degrees Celsius").required();
    command.examples({"ostdrv-sim --root board temperature 45.5"});
    command.action([&board] {
        open_board(board);
        if (!sim::set_temperature(options.celsius)) throw system_failure("cannot set the temperature");
    });
}

void add_attribute(Command &program, const BoardOptions &board) {
    Command &command = program.add_command("attribute", "Print or replace the value of any attribute of the board");
    command.add_text("PATH", options.path, "Its path on the device").required();
    Option &value = command.add_text("VALUE", options.value, "Its value").may_be_empty();
    command.examples({"ostdrv-sim --root board attribute /sys/class/backlight/red/brightness 255"});
    command.action([&board, &value] {
        open_board(board);
        const auto current = sim::attribute(options.path);
        if (current && !value.given())
            std::puts(current->c_str());
        else if (!current || !sim::set_attribute(options.path, options.value))
            throw Failure(options.path + " is not one of the board's");
    });
}

}  // namespace

void add_surroundings(Command &program, const BoardOptions &board) {
    add_line(program, board);
    add_adc(program, board);
    add_temperature(program, board);
    add_attribute(program, board);
}

}  // namespace ostdrv::tool
