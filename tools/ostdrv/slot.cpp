// ostdrv slot: the chip's storage, byte by byte.
#include <ostdrv.h>

#include <algorithm>
#include <optional>

#include "chip.hpp"
#include "consent.hpp"
#include "families.hpp"
#include "files.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::uint16_t slot = 0;
    std::string file, hex;
    std::size_t length = 1024;
    Output output;
    Consent consent;
} options;

Chip connect_to_slot() {
    const Chip chip = connect();
    check_slot(chip, options.slot);
    return chip;
}

// Nothing when the chip does not give it away.
std::optional<bool> holds_nothing(Chip chip, unsigned slot) {
    if (slot == (chip == Chip::trustx ? trustx::device_key : atecc::device_key_slot)) return !has_device_key(chip);
    try {
        return is_blank(read_slot(chip, slot));
    } catch (const Failure &) {
        return std::nullopt;
    }
}

// What is locked empty can never be filled.
void check_content(Chip chip, const std::string &name) {
    const std::optional<bool> nothing = holds_nothing(chip, options.slot);
    if (!nothing) return options.consent.object("it cannot be told whether " + name + " holds anything");
    if (*nothing) options.consent.object(name + " holds nothing and could never be filled");
}

void read() {
    const Chip chip = connect_to_slot();
    Bytes bytes = read_slot(chip, options.slot);
    bytes.resize(std::min(bytes.size(), options.length));
    if (!options.file.empty()) write_file(options.file, bytes);
    if (options.file.empty() || options.output.json())
        options.output.print(
            {{"slot", options.slot}, {"locked", is_locked(chip, options.slot)}, {"data", to_hex(bytes)}},
            to_hex(bytes));
}

void write() {
    const Bytes bytes =
        options.hex.empty() ? read_file(options.file, largest_transfer) : from_hex(options.hex, "--hex");
    const Chip chip = connect_to_slot();
    // The library would drop what does not fit without a word.
    if (bytes.size() > slot_capacity(chip, options.slot))
        throw Failure(std::to_string(bytes.size()) + " bytes do not fit into " + slot_name(chip, options.slot) +
                      ", which takes " + std::to_string(slot_capacity(chip, options.slot)));
    const std::string name = slot_name(chip, options.slot);
    require_of(chip, tpm_write_slot(options.slot, bytes.data(), bytes.size()), "write " + name);
}

void lock() {
    const Chip chip = connect_to_slot();
    const std::string name = slot_name(chip, options.slot);
    if (is_locked(chip, options.slot)) return message(name + " is locked already, nothing changed");
    check_content(chip, name);
    if (options.consent.agreed("This locks " + name + " for good."))
        require_of(chip, tpm_lock_slot(options.slot), "lock " + name);
}

}  // namespace

void add_slot(Command &program) {
    Command &group = program.add_command("slot", "The secure element's slots and objects");

    Command &read_command = group.add_command("read", "Print a slot's bytes; slot 0 of an ATECC gives the public key");
    add_slot_argument(read_command, options.slot);
    read_command.add_number("-n,--length", options.length, "At most so many bytes", 1, largest_transfer);
    read_command.add_file("-o,--out", options.file, "Write the bytes to a file instead of printing hexadecimal");
    options.output.add_to(read_command);
    read_command.examples({"ostdrv slot read 9 --out slot9.bin", "ostdrv slot read 0xE0E1 --json"});
    read_command.action(read);

    Command &write_command = group.add_command("write", "Write bytes from a slot's start");
    add_slot_argument(write_command, options.slot);
    Option &file = write_command.add_file("FILE", options.file, "The bytes");
    Option &hex = write_command.add_text("--hex", options.hex, "The bytes in hexadecimal").form("HEX");
    write_command.require_either(file, hex);
    write_command.examples({"ostdrv slot write 9 slot9.bin", "ostdrv slot write 9 --hex '01 02 03'"});
    write_command.action(write);

    Command &lock_command = group.add_command("lock", "Lock a slot for good");
    add_slot_argument(lock_command, options.slot);
    options.consent.add_to(lock_command);
    options.consent.add_force_to(lock_command);
    lock_command.examples({"ostdrv slot lock 9 --dry-run", "ostdrv slot lock 9"});
    lock_command.action(lock);
}

}  // namespace ostdrv::tool
