// The board that a command line of ostdrv-sim means.
#ifndef OSTDRV_TOOLS_SETUP_HPP
#define OSTDRV_TOOLS_SETUP_HPP

#include <string>

#include "board.hpp"

namespace ostdrv::tool {

struct BoardOptions {
    std::string root;               // empty: the board of this user
    std::string chip;               // empty: the one that is fitted, on a new board an ATECC608A
    bool usb = false, i2c = false;  // where the ATECC sits; neither: as it is
    bool is_new = false;            // there is none yet
    bool reset = false;             // back to what left the factory
    bool silent = false, answering = false;
    bool led = false, no_led = false;
    std::string shell;   // empty: as it is
    std::string marker;  // what an earlier detection decided: "atecc", "trustx" or "none"; empty: as it is
};

// Opens the board, changing it first as the options ask. Another chip than the fitted one is a new one. A board is made
// only where --new or a chip asks for it, so that a mistyped directory is noticed.
sim::Board open_board(const BoardOptions &options);

}  // namespace ostdrv::tool

#endif
