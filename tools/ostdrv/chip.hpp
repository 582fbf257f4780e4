// The secure element as the identity commands see it.
#ifndef OSTDRV_TOOLS_CHIP_HPP
#define OSTDRV_TOOLS_CHIP_HPP

#include <ostdrv.h>

#include <optional>
#include <string>

#include "bytes.hpp"
#include "command.hpp"
#include "secure_element/chip_map.hpp"
#include "status.hpp"

namespace ostdrv::tool {

enum class Chip { atecc = TPM_CHIP_ATECC, trustx = TPM_CHIP_TRUSTX };

// What detection came to.
struct Fitted {
    Chip chip;
    std::string decided_by;  // "the marker /mnt/settings/atecc"
    std::string place;       // "I2C bus 2, address 0x60", "USB kit"; empty for a Trust X
    bool answers;
};
// Starts the fitted chip, whatever comes of it.
Fitted find_chip();
// "no chip answers: ...", with what was tried.
std::string no_answer(const Fitted &fitted);

// Comes first in every command that needs the chip: starts it, and is a Failure when it does not answer.
Chip connect();
// The same where an ATECC must be provisioned.
Chip connect_provisioned();

// How far an ATECC is; a Trust X comes provisioned.
enum class Provisioning { none, half, complete };
Provisioning provisioning(Chip chip);
// As require(), and says when it is an ATECC that refuses because it is not provisioned.
void require_of(Chip chip, int status, const std::string &what);

// "slot 9" or "object 0xE0E1".
std::string slot_name(Chip chip, unsigned slot);
// "0xE0E1".
std::string object_name(unsigned object);

// SLOT as an argument: an ATECC slot, or a Trust X object identifier. Whether the chip has it turns out after
// connect().
Option &add_slot_argument(Command &command, std::uint16_t &slot);
void check_slot(Chip chip, unsigned slot);
bool is_locked(Chip chip, unsigned slot);

// How many bytes one write can store.
std::size_t slot_capacity(Chip chip, unsigned slot);
Bytes read_slot(Chip chip, unsigned slot);
// Nothing but the bytes of an erased slot, or no byte at all.
bool is_blank(const Bytes &content);

bool has_device_key(Chip chip);
void require_device_key(Chip chip);
// The 64 bytes of its public half.
Bytes device_public_key(Chip chip);

// The slot or object of the serial number record.
unsigned serial_number_slot(Chip chip);
// Nothing when none was stored yet.
std::optional<Bytes> serial_number();
// The same, and a Failure when there is none.
Bytes required_serial_number();
// What a signing request makes of a serial number that has not the 17 characters of its place there; else empty.
std::string request_note(const Bytes &serial);
unsigned layout_version();

// Printable characters as they are, others as \xNN.
std::string printable(const Bytes &text);

}  // namespace ostdrv::tool

#endif
