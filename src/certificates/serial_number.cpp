#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"
#include "secure_element/chip_map.hpp"

using namespace ostdrv;

namespace {

// 34 bytes of serial number, a zero byte, the certificate layout version.
constexpr size_t record_size = 36;
constexpr size_t version_byte = 35;
constexpr int longest_serial = 34;
constexpr uint8_t written_version = 1;

uint16_t record_slot() { return is_trustx() ? trustx::serial_number : atecc::serial_number_slot; }

int read_record(uint8_t *record) {
    size_t size = record_size;
    return tpm_read_slot(record_slot(), record, &size);
}

}  // namespace

int tpm_cert_get_version(uint8_t *version) {
    if (!version) return TPM_ERR_ARGUMENT;

    uint8_t record[record_size] = {};
    const int status = read_record(record);
    if (status == TPM_OK) *version = record[version_byte];
    return status;
}

int tpm_cert_set_serial_number(const uint8_t *serial, int len) {
    if (!serial || len < 1 || len > longest_serial) return TPM_ERR_SERIAL_NUMBER;

    uint8_t record[record_size] = {};
    std::memcpy(record, serial, static_cast<size_t>(len));
    record[version_byte] = written_version;
    return tpm_write_slot(record_slot(), record, sizeof record);
}

int tpm_cert_get_serial_number(char *serial, int *len) {
    if (!serial || *len <= 0) return TPM_ERR_ARGUMENT;

    uint8_t record[record_size] = {};
    // What could not be read reads as empty: whoever forgets the status gets a text, and no bytes of before.
    const int status = read_record(record);
    if (*len > longest_serial) *len = longest_serial + 1;
    std::memcpy(serial, record, static_cast<size_t>(*len));
    serial[*len] = '\0';
    return status;
}

int tpm_cert_lock_serial_number(void) { return tpm_lock_slot(record_slot()); }
