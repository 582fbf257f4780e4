// The board that a command line of ostdrv-sim means.
#ifndef OSTDRV_TOOLS_SETUP_HPP
#define OSTDRV_TOOLS_SETUP_HPP

#include <optional>
#include <string>

#include "board.hpp"

namespace ostdrv::tool {

struct BoardOptions {
    std::string root;         // empty: the board of this user
    std::string chip;         // empty: the one that is fitted, on a new board an ATECC608A
    std::optional<bool> usb;  // the ATECC sits on the USB kit; nothing: as it is
    bool reset = false;       // back to what left the factory
};

// Opens the board, making or changing it first as the options ask. Another chip than the fitted one is a new one.
sim::Board open_board(const BoardOptions &options);

}  // namespace ostdrv::tool

#endif
