#include "chip.hpp"

#include <unistd.h>

#include <algorithm>

namespace ostdrv::tool {
namespace {

constexpr int serial_capacity = 36;
constexpr std::size_t request_name_size = 17;

std::string i2c_place(int bus, int address) {
    return "I2C bus " + std::to_string(bus) + ", address " + hexadecimal(static_cast<unsigned>(address), 2);
}

// Must be asked before detection, which leaves a marker.
std::string what_decides() {
    for (const char *marker : {"/mnt/settings/atecc", "/mnt/settings/trustx"})
        if (access(marker, R_OK) == 0) return std::string("the marker ") + marker;
    return "a probe of " + i2c_place(atecc::i2c_bus, atecc::i2c_address);
}

std::string interface_place() {
    if (!g_atca_iface_cfg) return "";
    if (g_atca_iface_cfg->iface_type == ATCA_HID_IFACE) return "USB kit";
    return i2c_place(g_atca_iface_cfg->atcai2c.bus, g_atca_iface_cfg->atcai2c.slave_address >> 1);
}

bool zone_locked(int (*query)(std::uint8_t *), const std::string &zone) {
    std::uint8_t locked = 0;
    require(query(&locked), "read the lock of the " + zone);
    return locked != 0;
}

}  // namespace

Fitted find_chip() {
    Fitted fitted{.chip = Chip::atecc, .decided_by = what_decides(), .place = "", .answers = false};
    int type = 0;
    require(tpm_get_chip_type(&type), "tell the secure element's type");
    fitted.chip = Chip{type};
    fitted.answers = tpm_init_device() == TPM_OK;
    fitted.place = interface_place();
    // A Trust X is not started, so it has to be asked something.
    std::uint8_t locked = 0;
    if (fitted.chip == Chip::trustx) fitted.answers = tpm_is_slot_locked(trustx::device_cert, &locked) == TPM_OK;
    return fitted;
}

std::string no_answer(const Fitted &fitted) {
    const bool is_marked = fitted.decided_by.starts_with("the marker");
    return "no chip answers: no " +
           (fitted.chip == Chip::trustx ? "Trust X" + std::string(is_marked ? "" : ", and no ATECC either")
                                        : "ATECC at " + fitted.place) +
           "; " + fitted.decided_by + " decided which to look for" +
           (is_marked ? ", remove it if another chip is fitted" : "");
}

Chip connect() {
    const Fitted fitted = find_chip();
    if (!fitted.answers) throw Failure(no_answer(fitted));
    return fitted.chip;
}

Chip connect_provisioned() {
    const Chip chip = connect();
    if (provisioning(chip) != Provisioning::complete)
        throw Failure("the chip is not provisioned: run 'ostdrv provision' first");
    return chip;
}

Provisioning provisioning(Chip chip) {
    if (chip == Chip::trustx) return Provisioning::complete;
    if (!zone_locked(tpm_is_config_locked, "configuration zone")) return Provisioning::none;
    return zone_locked(tpm_is_data_locked, "data zone") ? Provisioning::complete : Provisioning::half;
}

void require_of(Chip chip, int status, const std::string &what) {
    if (status == TPM_ERR_CHIP && provisioning(chip) != Provisioning::complete)
        throw Failure("cannot " + what + ": the chip is not provisioned, run 'ostdrv provision' first");
    require(status, what);
}

std::string object_name(unsigned object) { return hexadecimal(object, 4); }

std::string slot_name(Chip chip, unsigned slot) {
    return chip == Chip::trustx ? "object " + object_name(slot) : "slot " + std::to_string(slot);
}

Option &add_slot_argument(Command &command, std::uint16_t &slot) {
    return command.add_number("SLOT", slot, "ATECC slot 0 to 15, or Trust X object such as 0xE0E1").required();
}

void check_slot(Chip chip, unsigned slot) {
    if (chip == Chip::atecc && slot >= atecc::slot_count) throw BadUsage("an ATECC has slots 0 to 15");
}

bool is_locked(Chip chip, unsigned slot) {
    std::uint8_t locked = 0;
    const int status = tpm_is_slot_locked(static_cast<std::uint16_t>(slot), &locked);
    require_of(chip, status, "read the lock of " + slot_name(chip, slot));
    return locked != 0;
}

std::size_t slot_capacity(Chip chip, unsigned slot) {
    if (chip == Chip::trustx) return largest_transfer;
    return slot < 8 ? 36 : slot == 8 ? atecc::large_slot_size : atecc::certificate_slot_size;
}

Bytes read_slot(Chip chip, unsigned slot) {
    Bytes bytes(largest_transfer);
    std::size_t length = bytes.size();
    require_of(chip, tpm_read_slot(slot, bytes.data(), &length), "read " + slot_name(chip, slot));
    bytes.resize(length);
    return bytes;
}

bool is_blank(const Bytes &content) {
    return std::ranges::all_of(content, [first = content.empty() ? 0 : content[0]](int byte) {
        return byte == first && (byte == 0x00 || byte == 0xFF);
    });
}

void require_device_key(Chip chip) {
    if (!has_device_key(chip)) throw Failure("there is no device key yet: 'ostdrv key generate' makes it");
}

Bytes device_public_key(Chip chip) {
    require_device_key(chip);
    // An ATECC gives the point in place of its private key; a Trust X keeps a structure that ends with the point.
    Bytes key = read_slot(chip, chip == Chip::trustx ? trustx::device_public_key : atecc::device_key_slot);
    key.erase(key.begin(), key.end() - public_key_size);
    return key;
}

bool has_device_key(Chip chip) {
    Bytes key(largest_transfer);
    std::size_t length = key.size();
    const int status =
        tpm_read_slot(chip == Chip::trustx ? trustx::device_public_key : atecc::device_key_slot, key.data(), &length);
    return status == TPM_OK && length >= public_key_size;
}

unsigned serial_number_slot(Chip chip) {
    return chip == Chip::trustx ? trustx::serial_number : atecc::serial_number_slot;
}

std::optional<Bytes> serial_number() {
    char text[serial_capacity];
    int length = serial_capacity - 1;
    require(tpm_cert_get_serial_number(text, &length), "read the serial number");
    const Bytes serial(text, std::find(text, text + length, '\0'));
    if (is_blank(serial)) return std::nullopt;
    return serial;
}

Bytes required_serial_number() {
    const std::optional<Bytes> serial = serial_number();
    if (!serial) throw Failure("there is no serial number yet: 'ostdrv serial set' stores it");
    return *serial;
}

std::string request_note(const Bytes &serial) {
    const std::size_t size = serial.size();
    if (size == request_name_size) return "";
    return "the serial number has " + std::to_string(size) + " characters, a signing request has place for 17: " +
           (size > request_name_size
                ? "it names the device '" + printable(Bytes(serial.begin(), serial.begin() + request_name_size)) + "'"
                : std::to_string(request_name_size - size) + " zero bytes follow it there");
}

unsigned layout_version() {
    std::uint8_t version = 0;
    require(tpm_cert_get_version(&version), "read the layout version");
    return version;
}

std::string printable(const Bytes &text) {
    std::string shown;
    for (const unsigned byte : text)
        if (byte >= ' ' && byte <= '~' && byte != '\\')
            shown += static_cast<char>(byte);
        else
            shown += "\\x" + hexadecimal(byte, 2).substr(2);
    return shown;
}

}  // namespace ostdrv::tool
