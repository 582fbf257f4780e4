#include "setup.hpp"

#include <cstdlib>

#include "program.hpp"

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
    board.remove("/mnt/settings/atecc");
    board.remove("/mnt/settings/trustx");
}

void apply(const BoardOptions &options, sim::BoardDescription &description) {
    if (!options.chip.empty()) description.chip = options.chip;
    if (options.usb) description.usb = *options.usb;
    if (description.has_atecc()) return;
    if (options.usb.value_or(false)) throw BadUsage("the USB kit carries an ATECC, this board has none");
    description.usb = false;
}

}  // namespace

sim::Board open_board(const BoardOptions &options) {
    const fs::path root =
        fs::weakly_canonical(fs::absolute(options.root.empty() ? sim::board_root() : fs::path(options.root)));
    setenv("OSTDRV_SIM_ROOT", root.c_str(), 1);
    const bool is_new = !fs::exists(root / "board");
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
    if (is_new || options.reset || description.chip != fitted.chip || description.usb != fitted.usb)
        board.fit(description);
    // A device looks for its ATECC on the I2C bus only. One that has the kit has been told so.
    if (description.usb) board.put("/mnt/settings/atecc", "");
    return board;
}

}  // namespace ostdrv::tool
