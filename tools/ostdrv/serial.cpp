// ostdrv serial: the serial number record.
#include <ostdrv.h>

#include "chip.hpp"
#include "consent.hpp"
#include "families.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

constexpr unsigned stored_layout = 1;  // what a new record brings with it

struct Options {
    std::string text;
    Output output;
    Consent consent;
} options;

bool is_record_locked(Chip chip) { return is_locked(chip, serial_number_slot(chip)); }

std::string quoted(const std::optional<Bytes> &serial) { return serial ? "'" + printable(*serial) + "'" : "none"; }

// Layout 0 keeps the certificates of signer and device in slots 10, 11 and 9; layout 1 reads these as something else.
bool would_orphan_certificates(Chip chip) {
    if (chip == Chip::trustx || layout_version() == stored_layout) return false;
    return !is_blank(read_slot(chip, 9)) || !is_blank(read_slot(chip, 10));
}

void warn_of_length(const Bytes &serial) {
    const std::string note = request_note(serial);
    if (!note.empty()) message("warning: " + note);
}

void set() {
    const Chip chip = connect_provisioned();
    if (is_record_locked(chip)) throw Failure("the serial number is locked: it stays " + quoted(serial_number()));
    if (would_orphan_certificates(chip))
        options.consent.object(
            "a new serial number brings certificate layout 1, and certificates are stored in layout " +
            std::to_string(layout_version()) + ": they could not be read any more");
    const Bytes serial = bytes_of(options.text);
    require(tpm_cert_set_serial_number(serial.data(), static_cast<int>(serial.size())), "set the serial number");
    warn_of_length(serial);
}

void get() {
    connect_provisioned();
    const Bytes serial = required_serial_number();
    options.output.print(
        {{"serial_number", printable(serial)}, {"hex", to_hex(serial)}, {"layout_version", layout_version()}},
        printable(serial));
}

void lock() {
    const Chip chip = connect_provisioned();
    const Bytes serial = required_serial_number();
    if (is_record_locked(chip)) return message("the serial number is locked already, nothing changed");
    warn_of_length(serial);
    const std::string layout =
        chip == Chip::trustx ? "" : " and certificate layout " + std::to_string(layout_version());
    if (options.consent.agreed("This locks the serial number '" + printable(serial) + "'" + layout + " for good."))
        require(tpm_cert_lock_serial_number(), "lock the serial number");
}

}  // namespace

void add_serial(Command &program) {
    Command &group = program.add_command("serial", "The device's serial number");

    Command &set_command = group.add_command("set", "Store a serial number, and certificate layout 1 with it");
    set_command.add_text("SERIAL", options.text, "1 to 34 bytes; a signing request has place for 17").required();
    options.consent.add_force_to(set_command);
    set_command.examples({"ostdrv serial set OSTRAVEL000000042"});
    set_command.action(set);

    Command &get_command = group.add_command("get", "Print the serial number");
    options.output.add_to(get_command);
    get_command.examples({"ostdrv serial get"});
    get_command.action(get);

    Command &lock_command = group.add_command("lock", "Lock the serial number for good");
    options.consent.add_to(lock_command);
    lock_command.examples({"ostdrv serial lock --dry-run", "ostdrv serial lock"});
    lock_command.action(lock);
}

}  // namespace ostdrv::tool
