#include "certificates/usb_kit.hpp"

#include <cstring>
#include <optional>

#include "ostdrv.h"

using namespace ostdrv;

namespace {

constexpr uint16_t directory_address = 32;
constexpr uint16_t directory_size = 10;
constexpr uint8_t stored = 0xDD;

// One certificate's part of the directory. Address and length count only behind the marker.
struct Entry {
    uint8_t marker = 0;
    uint16_t address = 0;
    uint16_t length = 0;
};

struct Directory {
    Entry device, signer;
};

// Where a kind of certificate has its copy, and which entry says so.
struct Kind {
    Entry Directory::*entry;
    uint16_t address;
};

bool eeprom_failed(int result) { return (result & 0xFF) != 0; }

Entry entry_from(uint8_t marker, const uint8_t *place) {
    if (marker != stored) return {.marker = marker};
    return {marker, static_cast<uint16_t>(place[0] << 8 | place[1]), static_cast<uint16_t>(place[2] << 8 | place[3])};
}

void put_place(const Entry &entry, uint8_t *place) {
    place[0] = static_cast<uint8_t>(entry.address >> 8);
    place[1] = static_cast<uint8_t>(entry.address);
    place[2] = static_cast<uint8_t>(entry.length >> 8);
    place[3] = static_cast<uint8_t>(entry.length);
}

int atecc_v0_read_cert_directory(Directory *directory) {
    uint8_t bytes[directory_size] = {};
    if (eeprom_failed(atcab_eeprom_read(directory_size, directory_address, bytes))) return TPM_ERR_CHIP;
    *directory = {.device = entry_from(bytes[0], bytes + 2), .signer = entry_from(bytes[1], bytes + 6)};
    return TPM_OK;
}

int write_directory(const Directory &directory) {
    uint8_t bytes[directory_size] = {directory.device.marker, directory.signer.marker};
    put_place(directory.device, bytes + 2);
    put_place(directory.signer, bytes + 6);
    return eeprom_failed(atcab_eeprom_write(directory_size, directory_address, bytes)) ? TPM_ERR_CHIP : TPM_OK;
}

std::optional<Kind> kind_of(const char *path) {
    if (std::strstr(path, "signercert.cert")) return Kind{&Directory::signer, 256};
    if (std::strstr(path, "devcert.cert")) return Kind{&Directory::device, 1280};
    return std::nullopt;
}

}  // namespace

bool usb_kit::in_use() { return g_atca_iface_cfg && g_atca_iface_cfg->iface_type == ATCA_HID_IFACE; }

int usb_kit::store_copy(const char *path, Bytes certificate) {
    Directory directory;
    if (const int status = atecc_v0_read_cert_directory(&directory)) return status;
    const auto kind = kind_of(path);
    if (!kind) return TPM_ERR_PATH;

    const Entry entry{stored, kind->address, static_cast<uint16_t>(certificate.size())};
    if (eeprom_failed(atcab_eeprom_write(entry.length, entry.address, certificate.data()))) return TPM_ERR_CHIP;
    directory.*kind->entry = entry;
    return write_directory(directory);
}

int usb_kit::load_copy(const char *path, Certificate *certificate) {
    Directory directory;
    if (const int status = atecc_v0_read_cert_directory(&directory)) return status;
    std::memset(certificate->der, 0, sizeof certificate->der);
    const auto kind = kind_of(path);
    if (!kind) return TPM_ERR_PATH;

    const Entry &entry = directory.*kind->entry;
    if (entry.marker != stored) return TPM_ERR_DIRECTORY;
    if (entry.length > certificate->length) return TPM_ERR_BUFFER;
    if (eeprom_failed(atcab_eeprom_read(entry.length, entry.address, certificate->der))) return TPM_ERR_CHIP;
    certificate->length = entry.length;
    return TPM_OK;
}
