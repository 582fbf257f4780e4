// ostdrv slot: the chip's storage, byte by byte.
#include <ostdrv.h>

#include <algorithm>
#include <iostream>

#include "chip.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::uint16_t slot = 0;
    std::string file, hex;
    std::size_t length = 1024;
    bool yes = false, json = false;
} options;

Chip connect_to_slot() {
    const Chip chip = connect();
    check_slot(chip, options.slot);
    return chip;
}

void read() {
    const Chip chip = connect_to_slot();
    Bytes bytes = read_slot(chip, options.slot);
    bytes.resize(std::min(bytes.size(), options.length));
    if (!options.file.empty()) write_file(options.file, bytes);
    if (options.json)
        print({{"slot", options.slot}, {"locked", is_locked(chip, options.slot)}, {"data", to_hex(bytes)}});
    else if (options.file.empty())
        std::cout << to_hex(bytes) << "\n";
}

void write() {
    if (options.file.empty() == options.hex.empty()) throw BadUsage("give either FILE or --hex");
    const Bytes bytes = options.hex.empty() ? read_file(options.file) : from_hex(options.hex, "--hex");
    const Chip chip = connect_to_slot();
    // The library would drop what does not fit without a word.
    if (bytes.size() > slot_capacity(chip, options.slot))
        throw Failure(std::to_string(bytes.size()) + " bytes do not fit into " + slot_name(chip, options.slot) +
                      ", which takes " + std::to_string(slot_capacity(chip, options.slot)));
    require(tpm_write_slot(options.slot, bytes.data(), bytes.size()), "write " + slot_name(chip, options.slot));
}

void lock() {
    confirm(options.yes, "This locks the slot for good.");
    const Chip chip = connect_to_slot();
    require(tpm_lock_slot(options.slot), "lock " + slot_name(chip, options.slot));
}

}  // namespace

void add_slot(CLI::App &app) {
    CLI::App &group = command_group(app, "slot", "The secure element's slots and objects");

    CLI::App &read_command = subcommand(group, "read", "Print a slot's bytes; slot 0 of an ATECC gives the public key");
    add_slot_argument(read_command, options.slot);
    add_number(read_command, "-n,--length", options.length, "At most so many bytes", 1, 1024);
    read_command.add_option("-o,--out", options.file, "Write the bytes to a file instead of printing hexadecimal")
        ->type_name("FILE");
    add_json(read_command, options.json);
    read_command.callback(read);

    CLI::App &write_command = subcommand(group, "write", "Write bytes from a slot's start");
    add_slot_argument(write_command, options.slot);
    write_command.add_option("FILE", options.file, "The bytes");
    write_command.add_option("--hex", options.hex, "The bytes in hexadecimal")->type_name("HEX");
    write_command.callback(write);

    CLI::App &lock_command = subcommand(group, "lock", "Lock a slot for good");
    add_slot_argument(lock_command, options.slot);
    add_yes(lock_command, options.yes);
    lock_command.callback(lock);
}

}  // namespace ostdrv::tool
