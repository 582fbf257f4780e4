// The secure element as the identity commands see it.
#ifndef OSTDRV_TOOLS_CHIP_HPP
#define OSTDRV_TOOLS_CHIP_HPP

#include "command.hpp"

namespace ostdrv::tool {

enum class Chip { atecc = 1, trustx = 2 };

// Starts the fitted chip. Comes first in every command that needs it.
Chip connect();

// "slot 9" or "object 0xE0E1".
std::string slot_name(Chip chip, unsigned slot);

// SLOT as an argument: an ATECC slot, or a Trust X object identifier. Whether the chip has it turns out after
// connect().
CLI::Option *add_slot_argument(CLI::App &command, std::uint16_t &slot);
void check_slot(Chip chip, unsigned slot);
bool is_locked(Chip chip, unsigned slot);

// How many bytes one write can store.
std::size_t slot_capacity(Chip chip, unsigned slot);
Bytes read_slot(Chip chip, unsigned slot);

// The 64 bytes of the device key's public half.
Bytes device_public_key(Chip chip);

// The serial number up to the record's first zero byte.
Bytes serial_number();
unsigned layout_version();

// Printable characters as they are, others as \xNN.
std::string printable(const Bytes &text);

}  // namespace ostdrv::tool

#endif
