// ostdrv serial: the serial number record.
#include <ostdrv.h>

#include <iostream>

#include "chip.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string text;
    bool yes = false, json = false;
} options;

void set() {
    connect();
    require(tpm_cert_set_serial_number(reinterpret_cast<const std::uint8_t *>(options.text.data()),
                                       static_cast<int>(options.text.size())),
            "set the serial number");
}

void get() {
    connect();
    const Bytes serial = serial_number();
    if (options.json)
        print({{"serial_number", printable(serial)}, {"hex", to_hex(serial)}, {"layout_version", layout_version()}});
    else
        std::cout << printable(serial) << "\n";
}

void lock() {
    confirm(options.yes, "This locks the serial number and the certificate layout for good.");
    connect();
    require(tpm_cert_lock_serial_number(), "lock the serial number");
}

}  // namespace

void add_serial(CLI::App &app) {
    CLI::App &group = command_group(app, "serial", "The device's serial number");

    CLI::App &set_command = subcommand(group, "set", "Store a serial number, and certificate layout 1 with it");
    set_command.add_option("SERIAL", options.text, "1 to 34 bytes; a signing request carries the first 17")->required();
    set_command.callback(set);

    CLI::App &get_command = subcommand(group, "get", "Print the serial number");
    add_json(get_command, options.json);
    get_command.callback(get);

    CLI::App &lock_command = subcommand(group, "lock", "Lock the serial number for good");
    add_yes(lock_command, options.yes);
    lock_command.callback(lock);
}

}  // namespace ostdrv::tool
