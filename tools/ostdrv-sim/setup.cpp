#include "setup.hpp"

#include <cstdlib>
#include <filesystem>

#include "error.hpp"
#include "shell.hpp"
#include "words.hpp"

namespace ostdrv::tool {
namespace {

namespace fs = std::filesystem;

void remove_chip_states(const fs::path &root) {
    std::vector<fs::path> states;
    for (const fs::directory_entry &entry : fs::directory_iterator(root))
        if (entry.path().extension() == ".state") states.push_back(entry.path());
    for (const fs::path &state : states) fs::remove(state);
}

// Which chip is fitted is remembered by the device across restarts.
void change_chip(const sim::Board &board) {
    remove_chip_states(board.root());
    board.remember_chip("none");
}

void apply(const BoardOptions &options, sim::BoardDescription &description) {
    if (!options.chip.empty()) description.chip = options.chip;
    if (options.usb || options.i2c) description.usb = options.usb;
    if (options.silent || options.answering) description.silent = options.silent;
    if (options.led || options.no_led) description.led = options.led;
    if (!options.shell.empty()) {
        if (!sim::redirects_both(options.shell)) throw Failure("there is no shell " + options.shell + " here");
        description.shell = options.shell;
    }
    if (description.is_atecc()) return;
    if (options.usb) throw BadUsage("the USB kit carries an ATECC, this board has none");
    description.usb = false;
}

bool holds_board(const fs::path &root) { return fs::exists(root / "board"); }

// A board's directory is its own; one that a program made without the launcher has no description yet.
bool may_become_board(const fs::path &root) {
    return !fs::exists(root) || fs::is_empty(root) || fs::exists(root / "fs") || holds_board(root);
}

void check_root(const fs::path &root, const BoardOptions &options) {
    if (holds_board(root)) {
        if (options.is_new)
            throw Failure("there is a board in " + root.string() + " already: --reset makes it blank again");
        return;
    }
    if (!may_become_board(root)) throw Failure(root.string() + " holds other files, and no board");
    if (options.is_new || !options.chip.empty()) return;
    Words boards;
    std::error_code none;
    for (const fs::directory_entry &entry : fs::directory_iterator(root.parent_path(), none))
        if (holds_board(entry.path())) boards.push_back(entry.path().filename());
    throw Failure("there is no board in " + root.string() + suggestion(root.filename(), boards) +
                  " (--new or --chip makes one)");
}

}  // namespace

sim::Board open_board(const BoardOptions &options) {
    const fs::path root = fs::weakly_canonical(fs::absolute(options.root.empty() ? sim::board_root() : options.root));
    setenv("OSTDRV_SIM_ROOT", root.c_str(), 1);
    check_root(root, options);
    const bool is_new = !holds_board(root);
    sim::BoardDescription description = sim::BoardDescription::load();
    const sim::BoardDescription fitted = description;
    if (is_new) description.chip = "atecc608a";
    apply(options, description);

    if (options.reset && !is_new) {
        fs::remove_all(root / "fs");
        fs::remove_all(root / "lines");
        remove_chip_states(root);
    }
    sim::Board board(root);
    if (!is_new && description.chip != fitted.chip) change_chip(board);
    // What its owner has put into the device tree stays as long as nothing else is fitted.
    if (is_new || options.reset || description.chip != fitted.chip || description.usb != fitted.usb) {
        board.fit(description);
        // A device looks for its ATECC on the I2C bus only. One that has the kit has been told so.
        if (description.usb) board.remember_chip("atecc");
    } else if (description != fitted) {
        board.change(description);
    }
    if (!options.marker.empty()) board.remember_chip(options.marker);
    return board;
}

}  // namespace ostdrv::tool
