#include "board.hpp"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "attributes.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;

Board::Board(const std::string &root) : root_(root) {
    Unseen unseen;
    setenv("OSTDRV_SIM_ROOT", root.c_str(), 1);
    for (const char *directory : {"mnt/settings", "proc/device-tree", "dev", "tmp", "sys/class/gpio",
                                  "sys/class/backlight", "sys/class/leds", "var/tmp/adc"})
        fs::create_directories(root + "/fs/" + directory);
    if (!path_exists(root + "/board"))
        fit({});
    else
        make_attributes(BoardDescription::load());
}

void Board::change(const BoardDescription &description) {
    Unseen unseen;
    if (!description.save()) throw std::runtime_error("cannot write the board description below " + root_);
    make_attributes(description);
}

void Board::fit(const BoardDescription &description) {
    Unseen unseen;
    change(description);
    put("/dev/i2c-" + std::to_string(description.i2c_bus), "");
    put_cell("tpm-i2c-bus", static_cast<std::uint32_t>(description.i2c_bus));
    put_cell("tpm-i2c-address", static_cast<std::uint32_t>(description.i2c_address));
    put_cell("tpm-use-usb", description.usb ? 1 : 0);
}

std::string Board::remembered_chip() const {
    Unseen unseen;
    for (const char *chip : {"atecc", "trustx"})
        if (path_exists(file(std::string("/mnt/settings/") + chip))) return chip;
    return "none";
}

void Board::remember_chip(std::string_view chip) const {
    for (const std::string marker : {"atecc", "trustx"})
        marker == chip ? put("/mnt/settings/" + marker, "") : remove("/mnt/settings/" + marker);
}

std::string Board::file(std::string_view device_path) const {
    Unseen unseen;
    const auto path = board_path(device_path);
    if (!path) throw std::invalid_argument("not a path of the device: " + std::string(device_path));
    return *path;
}

void Board::put(std::string_view device_path, std::string_view text) const {
    if (!replace_file(file(device_path), std::string(text)))
        throw std::runtime_error("cannot write " + file(device_path));
}

std::optional<std::string> Board::get(std::string_view device_path) const {
    const auto bytes = read_file(file(device_path));
    if (!bytes) return std::nullopt;
    return std::string(bytes->begin(), bytes->end());
}

void Board::remove(std::string_view device_path) const {
    Unseen unseen;
    fs::remove_all(file(device_path));
}

void Board::put_cell(std::string_view property, std::uint32_t value) const {
    const char cell[] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                         static_cast<char>(value)};
    put("/proc/device-tree/" + std::string(property), std::string_view(cell, sizeof cell));
}

}  // namespace ostdrv::sim
