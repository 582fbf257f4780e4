#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "launch.hpp"
#include "program.hpp"
#include "setup.hpp"
#include "surroundings.hpp"

namespace ostdrv::tool {
namespace {

void describe(const sim::Board &board) {
    const sim::BoardDescription description = sim::BoardDescription::load();
    std::cout << "root: " << board.root().string() << "\nchip: " << description.chip
              << "\nbus:  " << (description.usb ? "usb" : "i2c") << "\n";
}

void add_board_options(CLI::App &app, BoardOptions &options) {
    app.add_option("-r,--root", options.root, "The board's directory, made when missing")->type_name("DIR");
    app.add_option("-c,--chip", options.chip, "Fit this secure element; another than the fitted one is a blank one")
        ->type_name("CHIP")
        ->check(CLI::IsMember({"atecc508a", "atecc608a", "trustx", "none"}));
    app.add_flag_function(
        "--usb,!--i2c", [&options](std::int64_t count) { options.usb = count > 0; },
        "Fit the ATECC on the USB kit, or back on the I2C bus");
    app.add_flag("--reset", options.reset, "Make the board and its chips blank again");
}

void add_fault_options(CLI::App &app) {
    const auto plan = [&app](const std::string &name, const std::string &description) {
        const auto set = [name](const std::string &text) {
            const std::int64_t nth = parse_number(text, "--" + name, 1, std::numeric_limits<std::int32_t>::max());
            setenv("OSTDRV_SIM_FAULT", (name + ":" + std::to_string(nth)).c_str(), 1);
        };
        return app.add_option_function<std::string>("--" + name, set, description)->type_name("N");
    };
    CLI::Option *fail = plan("fail", "The N-th system or chip call of each process of the command fails");
    CLI::Option *from = plan("fail-from", "So does every later one")->excludes(fail);
    plan("kill", "The process ends at its N-th call, as in a power cut")->excludes(fail)->excludes(from);
}

int main(int argc, char **argv) {
    CLI::App app(
        "Runs a command on a simulated board, without root. The board's state is kept in its directory.\n"
        "  ostdrv-sim [OPTIONS] -- COMMAND...\n"
        "  ostdrv-sim [OPTIONS]                 prints what is fitted\n"
        "  ostdrv-sim [OPTIONS] SUBCOMMAND ...  changes what surrounds the board, also while a command runs",
        "ostdrv-sim");
    app.footer(
        "Exit status: the command's; 126 or 127 when it cannot be run; else 0 done, 1 failed, 2 bad usage.\n"
        "Statically linked and set-uid programs reach past the board.");
    // What follows belongs to the command, whatever it looks like.
    char **const separator = std::find(argv, argv + argc, std::string_view("--"));
    char **const command = separator == argv + argc ? separator : separator + 1;

    BoardOptions options;
    add_board_options(app, options);
    add_fault_options(app);
    add_surroundings(app, options);
    app.callback([&] {
        if (!app.get_subcommands().empty()) return;
        if (command != separator && !*command) throw BadUsage("a command is missing behind --");
        const sim::Board board = open_board(options);
        if (*command) launch(command);
        describe(board);
    });
    return run(app, static_cast<int>(separator - argv), argv);
}

}  // namespace
}  // namespace ostdrv::tool

int main(int argc, char **argv) { return ostdrv::tool::main(argc, argv); }
