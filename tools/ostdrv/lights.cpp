// ostdrv pwm and led: PWM-driven lights and the status LED.
#include <ostdrv.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "attribute.hpp"
#include "families.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

const Words colours{"red", "green", "blue"};

struct Options {
    std::string name;
    unsigned percent = 0;
    std::size_t colour = 0;
    std::uint8_t brightness = 0;
    Output output;
} options;

constexpr char light_class[] = "/sys/class/backlight";
constexpr std::size_t longest_name = 31;

// Its name is a directory's.
void check_name() {
    const std::string &name = options.name;
    if (name.size() > longest_name || name == "." || name == ".." || name.find('/') != std::string::npos)
        throw BadUsage("'" + name + "' is no light's name: 1 to 31 characters without a slash");
}

Failure light_failure(const std::string &verb) {
    const int error = errno;
    const std::string directory = light_class + ("/" + options.name), what = "cannot " + verb + " light ";
    if (x_sysfs_exists(directory.c_str()) != 0) {
        const Words names = names_in(light_class);
        const std::string fitted = names.empty() ? "" : "; there are " + joined(names);
        return Failure(what + options.name + ": there is no " + directory + fitted + suggestion(options.name, names) +
                       missing_hint(light_class));
    }
    const std::string attribute = directory + "/brightness";
    std::string reason = error != 0 ? std::strerror(error) : "it holds no number";
    int most = 0;
    if (error == EINVAL && x_sysfs_read_int((directory + "/max_brightness").c_str(), &most) == 0)
        reason += "; the library drives 0 to 255, this light takes 0 to " + std::to_string(most);
    return Failure(what + options.name + ": " + attribute + ": " + reason);
}

void pwm(bool set) {
    check_name();
    const char *const name = options.name.c_str();
    unsigned percent = 0;
    errno = 0;
    const int status = set ? x_pwm_set_cycle(name, options.percent) : x_pwm_read_cycle(name, &percent);
    if (status != 0) throw light_failure(set ? "set" : "read");
    if (!set) options.output.print({{"name", options.name}, {"percent", percent}}, std::to_string(percent));
}

// The library's own function drives no colour: a board with an LED brings one that takes its place.
void led() {
    errno = 0;
    if (led_drive_set_value(static_cast<std::uint8_t>(options.colour), options.brightness) == 0) return;
    const std::string text = std::string("cannot set the ") + colours[options.colour] + " of the status LED: ";
    if (errno != 0) throw system_failure(text + "its driver failed");
    throw Failure(text + "no driver of one is loaded. A board with an LED has a library with its own " +
                  "led_drive_set_value: LD_PRELOAD=LIBRARY ostdrv led ...; 'ostdrv-sim --led' plays such a board");
}

}  // namespace

void add_lights(Command &program) {
    Command &pwm_command = program.add_command("pwm", "Print or set the duty cycle of a light, in percent");
    pwm_command.add_text("LIGHT", options.name, "Backlight device, such as \"panel\"").required();
    const Option &percent = pwm_command.add_number("PERCENT", options.percent, "Set it to this", 0, 100);
    options.output.add_to(pwm_command);
    pwm_command.examples({"ostdrv pwm panel", "ostdrv pwm panel 50"});
    pwm_command.action([&percent] { pwm(percent.given()); });

    Command &led_command = program.add_command("led", "Set one colour of the status LED, in percent");
    led_command.add_choice("COLOUR", options.colour, colours, "Which").required();
    led_command.add_number("PERCENT", options.brightness, "Brightness", 0, 100).required();
    led_command.examples({"ostdrv led green 100"});
    led_command.action(led);
}

}  // namespace ostdrv::tool
