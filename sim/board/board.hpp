// A simulated board as its owner sees it: what is fitted, and the files behind the device's paths.
#ifndef OSTDRV_SIM_BOARD_HPP
#define OSTDRV_SIM_BOARD_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/board_state.hpp"

namespace ostdrv::sim {

class Board {
 public:
    // Makes the board's directory the process's board (OSTDRV_SIM_ROOT) and creates what is missing in it.
    explicit Board(const std::string &root);

    // Replaces the description and what follows from it, the device tree's properties included. Chips keep their state.
    void fit(const BoardDescription &description);
    // The same, but what the device tree says of the chip stays.
    void change(const BoardDescription &description);

    // The chip that an earlier detection has decided on, as the device remembers it: "atecc", "trustx" or "none".
    std::string remembered_chip() const;
    void remember_chip(std::string_view chip) const;

    const std::string &root() const { return root_; }

    // The files behind a device path.
    std::string file(std::string_view device_path) const;
    void put(std::string_view device_path, std::string_view text) const;
    std::optional<std::string> get(std::string_view device_path) const;
    void remove(std::string_view device_path) const;

    // A 32-bit big-endian cell of the device tree.
    void put_cell(std::string_view property, std::uint32_t value) const;

 private:
    std::string root_;
};

}  // namespace ostdrv::sim

#endif
