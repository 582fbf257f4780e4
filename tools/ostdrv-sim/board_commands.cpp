#include "board_commands.hpp"

#include <cmath>
#include <cstdio>

#include "attributes.hpp"
#include "eeprom.hpp"
#include "gpio_class.hpp"
#include "surroundings.hpp"

namespace ostdrv::tool {
namespace {

class SimulatedSurroundings : public Surroundings {
 public:
    explicit SimulatedSurroundings(const BoardOptions &options) : board_(open_board(options)) {}

    void drive(int line, bool high) override { must(sim::drive_line(line, high), "line"); }
    Line line(int line) override {
        must(line < sim::BoardDescription::load().gpio_lines, "line");
        const sim::LineState state = sim::LineState::load(line);
        return {state.is_output, state.level()};
    }
    void set_sample(int channel, int raw) override { must(sim::set_adc(channel, raw), "channel"); }
    int sample(int channel) override { return number("/var/tmp/adc/in_voltage" + std::to_string(channel) + "_raw"); }
    void set_temperature(double celsius) override {
        if (!sim::set_temperature(celsius)) throw system_failure("cannot set the temperature");
    }
    double temperature() override { return number("/sys/class/thermal/thermal_zone0/temp") / 1000.0; }
    unsigned light(const std::string &name) override {
        const auto names = sim::BoardDescription::load().light_names();
        if (!names.contains(name))
            throw Failure("the board has no light " + name + suggestion(name, Words(names.begin(), names.end())));
        return static_cast<unsigned>(number("/sys/class/backlight/" + name + "/brightness"));
    }
    void fill_eeprom(const Bytes &bytes) override {
        if (!sim::replace_content(board_.file(sim::eeprom_path), std::string(bytes.begin(), bytes.end())))
            throw system_failure("cannot fill the EEPROM");
    }
    Bytes eeprom() override {
        const auto cells = board_.get(sim::eeprom_path);
        must(cells.has_value(), "EEPROM");
        return {cells->begin(), cells->end()};
    }
    void protect_eeprom(bool on) override {
        sim::BoardDescription description = sim::BoardDescription::load();
        description.eeprom_protected = on;
        board_.change(description);
    }
    bool eeprom_is_protected() override { return sim::BoardDescription::load().eeprom_protected; }

 private:
    sim::Board board_;

    static void must(bool there, const char *what) {
        if (!there) throw Failure(std::string("the board has no such ") + what);
    }
    static int number(const std::string &path) {
        const auto text = sim::attribute(path);
        must(text.has_value(), "channel");
        return std::atoi(text->c_str());
    }
};

std::string path, value;

void add_attribute(Command &program, const BoardOptions &board) {
    Command &command = program.add_command("attribute", "Print or replace the value of any attribute of the board");
    command.add_text("PATH", path, "Its path on the device").required();
    Option &given = command.add_text("VALUE", value, "Its value").may_be_empty();
    command.examples({"ostdrv-sim --root board attribute /sys/class/backlight/red/brightness 255"});
    command.action([&board, &given] {
        open_board(board);
        const auto current = sim::attribute(path);
        if (current && !given.given())
            std::puts(current->c_str());
        else if (!current || !sim::set_attribute(path, value))
            throw Failure(path + " is not one of the board's");
    });
}

}  // namespace

void add_board_commands(Command &program, const BoardOptions &board) {
    add_surroundings(program, "ostdrv-sim", [&board] { return std::make_unique<SimulatedSurroundings>(board); });
    add_attribute(program, board);
}

}  // namespace ostdrv::tool
