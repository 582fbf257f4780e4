#include "certificates/usb_kit_store.hpp"

#include <cstring>

#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;

namespace {

constexpr uint16_t directory_address = 32;
constexpr uint16_t directory_size = 10;
constexpr uint16_t signer_cert_address = 256;
constexpr uint16_t device_cert_address = 1280;
constexpr uint8_t stored = 0xDD;

bool eeprom_failed(int result) { return (result & 0xFF) != 0; }

uint16_t big_endian(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]); }

void put_big_endian(uint8_t *bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}

int write_cert_directory(const CertDirectory &directory) {
    uint8_t bytes[directory_size] = {directory.device_marker, directory.signer_marker};
    if (directory.device_marker == stored) {
        put_big_endian(bytes + 2, directory.device_address);
        put_big_endian(bytes + 4, directory.device_length);
    }
    if (directory.signer_marker == stored) {
        put_big_endian(bytes + 6, directory.signer_address);
        put_big_endian(bytes + 8, directory.signer_length);
    }
    return eeprom_failed(atcab_eeprom_write(directory_size, directory_address, bytes)) ? status_chip : status_ok;
}

// The directory's fields for one certificate.
struct Entry {
    uint8_t &marker;
    uint16_t &address;
    uint16_t &length;
    uint16_t place;
};

enum class Kind { none, signer, device };

Kind kind_of(const char *path) {
    if (std::strstr(path, "signercert.cert")) return Kind::signer;
    if (std::strstr(path, "devcert.cert")) return Kind::device;
    return Kind::none;
}

Entry entry_of(CertDirectory &directory, Kind kind) {
    if (kind == Kind::signer)
        return {directory.signer_marker, directory.signer_address, directory.signer_length, signer_cert_address};
    return {directory.device_marker, directory.device_address, directory.device_length, device_cert_address};
}

}  // namespace

int atecc_v0_read_cert_directory(CertDirectory *directory) {
    uint8_t bytes[directory_size] = {};
    if (eeprom_failed(atcab_eeprom_read(directory_size, directory_address, bytes))) return status_chip;

    *directory = {};
    directory->device_marker = bytes[0];
    if (directory->device_marker == stored) {
        directory->device_address = big_endian(bytes + 2);
        directory->device_length = big_endian(bytes + 4);
    }
    directory->signer_marker = bytes[1];
    if (directory->signer_marker == stored) {
        directory->signer_address = big_endian(bytes + 6);
        directory->signer_length = big_endian(bytes + 8);
    }
    return status_ok;
}

bool usb_kit::in_use() { return g_atca_iface_cfg && g_atca_iface_cfg->iface_type == ATCA_HID_IFACE; }

int usb_kit::store_copy(const char *path, const uint8_t *der, size_t length) {
    CertDirectory directory;
    if (const int status = atecc_v0_read_cert_directory(&directory)) return status;
    const Kind kind = kind_of(path);
    if (kind == Kind::none) return status_path;

    const Entry entry = entry_of(directory, kind);
    entry.marker = stored;
    entry.address = entry.place;
    entry.length = static_cast<uint16_t>(length);
    if (eeprom_failed(atcab_eeprom_write(entry.length, entry.address, der))) return status_chip;
    return write_cert_directory(directory);
}

int usb_kit::load_copy(const char *path, uint8_t *der, size_t *length) {
    CertDirectory directory;
    if (const int status = atecc_v0_read_cert_directory(&directory)) return status;
    std::memset(der, 0, *length);
    const Kind kind = kind_of(path);
    if (kind == Kind::none) return status_path;

    const Entry entry = entry_of(directory, kind);
    if (entry.marker != stored) return status_directory;
    if (*length < entry.length) return status_buffer;
    if (eeprom_failed(atcab_eeprom_read(entry.length, entry.address, der))) return status_chip;
    *length = entry.length;
    return status_ok;
}
