// ostdrv pwm and led: PWM-driven lights and the status LED.
#include <ostdrv.h>

#include <iostream>
#include <map>

#include "command.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string name;
    unsigned percent = 0;
    std::uint8_t colour = 0, brightness = 0;
    bool json = false;
} options;

void pwm(bool set) {
    if (set) {
        if (x_pwm_set_cycle(options.name.c_str(), options.percent) != 0)
            throw Failure("cannot set light \"" + options.name + "\"");
        return;
    }
    unsigned percent = 0;
    if (x_pwm_read_cycle(options.name.c_str(), &percent) != 0)
        throw Failure("cannot read light \"" + options.name + "\"");
    if (options.json)
        print({{"name", options.name}, {"percent", percent}});
    else
        std::cout << percent << "\n";
}

void led() {
    if (led_drive_set_value(options.colour, options.brightness) != 0)
        throw Failure("this colour of the status LED is not driven here");
}

}  // namespace

void add_lights(CLI::App &app) {
    CLI::App &pwm_command = subcommand(app, "pwm", "Print or set the duty cycle of a light, in percent");
    pwm_command.add_option("NAME", options.name, "Backlight device, such as \"panel\"")->required();
    CLI::Option *const percent = add_number(pwm_command, "PERCENT", options.percent, "Set it to this", 0, 100);
    add_json(pwm_command, options.json);
    pwm_command.callback([percent] { pwm(percent->count() > 0); });

    static const std::map<std::string, std::uint8_t> colours{{"red", 0}, {"green", 1}, {"blue", 2}};
    CLI::App &led_command = subcommand(app, "led", "Set one colour of the status LED, in percent");
    led_command.add_option("COLOUR", options.colour, "red, green or blue")
        ->required()
        ->transform(CLI::CheckedTransformer(colours).description(""));
    add_number(led_command, "PERCENT", options.brightness, "Brightness", 0, 100)->required();
    led_command.callback(led);
}

}  // namespace ostdrv::tool
