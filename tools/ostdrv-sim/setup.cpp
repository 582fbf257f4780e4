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
    const std::string fitted = description.chip;
    if (is_new) description.chip = "atecc608a";
    apply(options, description);

    if (options.reset && !is_new) {
        fs::remove_all(root / "fs");
        fs::remove_all(root / "lines");
        remove_chip_states(root);
    }
    sim::Board board(root);
    if (!is_new && description.chip != fitted) change_chip(board);
    board.fit(description);
    return board;
}

}  // namespace ostdrv::tool
