#include "surroundings.hpp"

#include <cmath>
#include <cstdio>

#include "files.hpp"
#include "thermistor.hpp"

namespace ostdrv::tool {
namespace {

constexpr std::size_t eeprom_size = 4096;

struct Options {
    int line = 0, channel = 0, raw = 0;
    std::size_t level = 0, position = 0;
    double celsius = 0;
    Thermistor thermistor;
    std::string light, file;
} options;

const Words levels{"low", "high"}, positions{"off", "on"};

// The sample nearest to a temperature.
int sample_at(const Thermistor &thermistor, double celsius) {
    const double kelvin = celsius + 273.15;
    const double resistance = thermistor.r_nominal * std::exp(thermistor.beta * (1 / kelvin - 1 / 298.15));
    return static_cast<int>(std::lround(thermistor.full_scale * (resistance / (thermistor.r_series + resistance))));
}

// Adds the commands of one board.
class Vocabulary {
 public:
    Vocabulary(Command &command, std::string program, std::function<std::unique_ptr<Surroundings>()> open)
        : command_(command), program_(std::move(program)), open_(std::move(open)) {}

    void add_line() {
        Command &line =
            add("line", "Drive a GPIO line from outside; without LEVEL: print its direction and level", "3 high");
        line.add_number("LINE", options.line, "Its number", 0).required();
        const Option &level = line.add_choice("LEVEL", options.level, levels, "Where to");
        line.action([open = open_, &level] {
            const auto board = open();
            if (level.given()) return board->drive(options.line, options.level == 1);
            const auto [is_output, is_high] = board->line(options.line);
            std::printf("%s %s\n", is_output ? "out" : "in", levels[is_high ? 1 : 0].c_str());
        });
    }

    void add_adc() {
        Command &adc = add("adc", "Set what an ADC channel samples; without RAW: print it", "3 --celsius 36.6");
        adc.add_number("CHANNEL", options.channel, "Its number", 0).required();
        Option &raw = adc.add_number("RAW", options.raw, "The sample");
        const Option &celsius =
            adc.add_real("--celsius", options.celsius, "The sample of a thermistor at this temperature")
                .form("DEGREES")
                .excludes(raw);
        add_thermistor(adc, options.thermistor);
        adc.action([open = open_, &raw, &celsius] {
            const auto board = open();
            if (!raw.given() && !celsius.given()) return void(std::printf("%d\n", board->sample(options.channel)));
            board->set_sample(options.channel,
                              raw.given() ? options.raw : sample_at(options.thermistor, options.celsius));
        });
    }

    void add_temperature() {
        Command &temperature =
            add("temperature", "Set /sys/class/thermal/thermal_zone0/temp; without DEGREES: print it", "30.4");
        const Option &degrees = temperature.add_real("DEGREES", options.celsius, "Degrees Celsius");
        temperature.action([open = open_, &degrees] {
            const auto board = open();
            if (degrees.given())
                board->set_temperature(options.celsius);
            else
                std::printf("%.1f\n", board->temperature());
        });
    }

    void add_light() {
        Command &light = add("light", "Print a light's brightness, 0 to 255", "panel");
        light.add_text("NAME", options.light, "The light").required();
        light.action([open = open_] { std::printf("%u\n", open()->light(options.light)); });
    }

    void add_eeprom() {
        Command &out = add("eeprom-out", "Copy what the EEPROM holds to a file", "image");
        out.add_file("FILE", options.file, "Is made or replaced").required();
        out.action([open = open_] { write_file(options.file, open()->eeprom()); });

        Command &in = add("eeprom-in", "Fill the EEPROM from a file of its 4096 bytes", "image");
        in.add_file("FILE", options.file, "As eeprom-out leaves it").required();
        in.action([open = open_] {
            const Bytes bytes = read_file(options.file, eeprom_size);
            if (bytes.size() != eeprom_size)
                throw Failure(options.file + " has " + std::to_string(bytes.size()) + " bytes, the EEPROM 4096");
            open()->fill_eeprom(bytes);
        });

        Command &protect =
            add("eeprom-protect", "Let the EEPROM acknowledge and keep its bytes; alone: print whether", "on");
        const Option &position = protect.add_choice("POSITION", options.position, positions, "Of the switch");
        protect.action([open = open_, &position] {
            const auto board = open();
            if (position.given())
                board->protect_eeprom(options.position == 1);
            else
                std::printf("%s\n", positions[board->eeprom_is_protected() ? 1 : 0].c_str());
        });
    }

 private:
    Command &command_;
    std::string program_;
    std::function<std::unique_ptr<Surroundings>()> open_;

    Command &add(const std::string &name, const std::string &description, const std::string &example) {
        Command &added = command_.add_command(name, description);
        added.examples({program_ + " --root board " + name + " " + example});
        return added;
    }
};

}  // namespace

void add_surroundings(Command &command, const std::string &program,
                      const std::function<std::unique_ptr<Surroundings>()> &open) {
    Vocabulary vocabulary(command, program, open);
    vocabulary.add_line();
    vocabulary.add_adc();
    vocabulary.add_temperature();
    vocabulary.add_light();
    vocabulary.add_eeprom();
}

}  // namespace ostdrv::tool
