#include "chip.hpp"

#include <ostdrv.h>

#include <algorithm>
#include <cstdio>

namespace ostdrv::tool {
namespace {

constexpr unsigned last_atecc_slot = 15;
constexpr unsigned trustx_public_key = 0xF1D6;
constexpr std::size_t largest_transfer = 1024;
constexpr std::size_t point_size = 64;
constexpr int serial_capacity = 36;

std::string hexadecimal(unsigned number, unsigned digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", static_cast<int>(digits), number);
    return text;
}

}  // namespace

Chip connect() {
    require(tpm_init_device(), "start the secure element");
    int type = 0;
    require(tpm_get_chip_type(&type), "tell the secure element's type");
    return Chip{type};
}

std::string slot_name(Chip chip, unsigned slot) {
    return chip == Chip::trustx ? "object 0x" + hexadecimal(slot, 4) : "slot " + std::to_string(slot);
}

CLI::Option *add_slot_argument(CLI::App &command, std::uint16_t &slot) {
    return add_number(command, "SLOT", slot, "ATECC slot 0 to 15, or Trust X object such as 0xE0E1")->required();
}

void check_slot(Chip chip, unsigned slot) {
    if (chip == Chip::atecc && slot > last_atecc_slot) throw BadUsage("an ATECC has slots 0 to 15");
}

bool is_locked(Chip chip, unsigned slot) {
    std::uint8_t locked = 0;
    require(tpm_is_slot_locked(static_cast<std::uint16_t>(slot), &locked), "read the lock of " + slot_name(chip, slot));
    return locked != 0;
}

std::size_t slot_capacity(Chip chip, unsigned slot) {
    if (chip == Chip::trustx) return largest_transfer;
    return slot < 8 ? 36 : slot == 8 ? 416 : 72;
}

Bytes read_slot(Chip chip, unsigned slot) {
    Bytes bytes(largest_transfer);
    std::size_t length = bytes.size();
    require(tpm_read_slot(slot, bytes.data(), &length), "read " + slot_name(chip, slot));
    bytes.resize(length);
    return bytes;
}

Bytes device_public_key(Chip chip) {
    // An ATECC gives the point in place of its private key; a Trust X keeps a structure that ends with the point.
    Bytes key = read_slot(chip, chip == Chip::trustx ? trustx_public_key : 0);
    if (key.size() < point_size) throw Failure("there is no device key yet");
    key.erase(key.begin(), key.end() - point_size);
    return key;
}

Bytes serial_number() {
    char text[serial_capacity];
    int length = serial_capacity - 1;
    require(tpm_cert_get_serial_number(text, &length), "read the serial number");
    return Bytes(text, std::find(text, text + length, '\0'));
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
            shown += "\\x" + hexadecimal(byte, 2);
    return shown;
}

}  // namespace ostdrv::tool
