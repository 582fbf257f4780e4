#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "attributes.hpp"
#include "board_commands.hpp"
#include "command.hpp"
#include "launch.hpp"
#include "output.hpp"
#include "setup.hpp"
#include "shell.hpp"

namespace ostdrv::tool {
namespace {

// Of 255, as the LED's files say.
std::string led_levels() {
    std::string levels;
    for (const std::string colour : {"red", "green", "blue"})
        levels +=
            (levels.empty() ? "" : ", ") + colour + " " + *sim::attribute("/sys/class/leds/" + colour + "/brightness");
    return levels;
}

void describe(const sim::Board &board, const Output &output) {
    const sim::BoardDescription description = sim::BoardDescription::load();
    const std::string marker = board.remembered_chip(), bus = description.usb ? "usb" : "i2c";
    const bool redirects_both = sim::redirects_both(description.shell).value_or(false);
    const Record record = {{"root", board.root()},
                           {"chip", description.chip},
                           {"silent", description.silent},
                           {"bus", bus},
                           {"marker", marker == "none" ? Value() : Value(marker)},
                           {"shell", description.shell},
                           {"redirects_both", redirects_both},
                           {"led", description.led}};
    output.print(record, "root: " + board.root() + "\nchip: " + description.chip +
                             (description.silent ? ", which answers nobody" : "") + "\nbus:  " + bus + "\nmarker: " +
                             (marker == "none" ? "none: the next detection asks the bus"
                                               : marker + ": what an earlier detection decided") +
                             "\nshell: " + description.shell + ", where &> is " +
                             (redirects_both ? "a redirection: the USB kit is chosen when nothing answers on I2C"
                                             : "& and >: the USB kit is never chosen") +
                             "\nled: " + (description.led ? led_levels() : "none"));
}

const Words chips{"atecc508a", "atecc608a", "trustx", "none"};
const Words markers{"atecc", "trustx", "none"};

void add_board_options(Command &program, BoardOptions &options) {
    program.add_text("-r,--root", options.root, "The board's directory, else this user's own board").form("DIR");
    program
        .add_word("-c,--chip", options.chip, chips, "Fit this secure element, a blank one unless it is there already")
        .form("CHIP");
    Option &usb = program.add_flag("--usb", options.usb, "Fit the ATECC on the USB kit");
    program.add_flag("--i2c", options.i2c, "Fit the ATECC back on the I2C bus").excludes(usb);
    program.add_flag("--new", options.is_new, "Make the board, with an ATECC608A unless --chip says otherwise");
    Option &silent = program.add_flag("--silent", options.silent, "The chip answers nobody, as behind a broken bus");
    program.add_flag("--answering", options.answering, "It does again").excludes(silent);
    program
        .add_word("--marker", options.marker, markers,
                  "Set what an earlier detection decided; none makes the next one ask the bus")
        .form("CHIP");
    program.add_text("--shell", options.shell, "Run the device's commands in this shell instead of /bin/sh")
        .form("SHELL");
    Option &led = program.add_flag("--led", options.led, "Fit a status LED");
    program.add_flag("--no-led", options.no_led, "Take it out").excludes(led);
    program.add_flag("--reset", options.reset, "Make the board and its chips blank again");
}

void add_fault_options(Command &program) {
    const auto plan = [&program](const std::string &name, const std::string &description) -> Option & {
        const auto set = [name](const std::string &text) {
            const std::int64_t nth = parse_number(text, 1, std::numeric_limits<std::int32_t>::max());
            setenv("OSTDRV_SIM_FAULT", (name + ":" + std::to_string(nth)).c_str(), 1);
        };
        return program.add_value("--" + name, set, description).form("N");
    };
    Option &fail = plan("fail", "The N-th system or chip call of each process of the command fails");
    Option &from = plan("fail-from", "So does every later one").excludes(fail);
    plan("kill", "The process ends at its N-th call, as in a power cut").excludes(fail).excludes(from);
}

int main(int argc, char **argv) {
    Program program(
        "ostdrv-sim",
        "Runs a command on a simulated board, without root. The board's state is kept in its directory.\n"
        "  ostdrv-sim [OPTIONS] -- COMMAND...\n"
        "  ostdrv-sim [OPTIONS]                 prints what is fitted\n"
        "  ostdrv-sim [OPTIONS] SUBCOMMAND ...  changes what surrounds the board, also while a command runs");
    program.footer(
        "Exit status: the command's; 126 or 127 when it cannot be run; else 0 done, 1 failed, 2 bad usage.\n"
        "Statically linked and set-uid programs reach past the board.");
    program.examples({"ostdrv-sim --root board --chip trustx -- ostdrv info",
                      "ostdrv-sim --root board -- ostdrv gpio watch 3", "ostdrv-sim --root board line 3 high"});
    // What follows belongs to the command, whatever it looks like.
    char **const separator = std::find(argv, argv + argc, std::string_view("--"));
    char **const command = separator == argv + argc ? separator : separator + 1;

    BoardOptions options;
    add_board_options(program, options);
    add_fault_options(program);
    add_board_commands(program, options);
    Output output;
    output.add_to(program);
    program.action([&] {
        if (*command && output.json()) throw BadUsage("--json is for the board, not for a command on it");
        if (command != separator && !*command) throw BadUsage("a command is missing behind --");
        const sim::Board board = open_board(options);
        if (*command) launch(command);
        describe(board, output);
    });
    return program.run(static_cast<int>(separator - argv), argv);
}

}  // namespace
}  // namespace ostdrv::tool

int main(int argc, char **argv) { return ostdrv::tool::main(argc, argv); }
