#include <cstring>

#include "certificates/serial_record.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;

namespace {

constexpr uint16_t atecc_slot = 7;
constexpr uint16_t trustx_object = 0xF1D0;

// 34 bytes of serial number, a zero byte, the certificate layout version.
constexpr size_t record_size = 36;
constexpr size_t version_byte = 35;
constexpr int longest_serial = 34;
constexpr uint8_t written_version = 1;

uint16_t record_slot() { return fitted_chip_is_trustx() ? trustx_object : atecc_slot; }

int read_record(uint8_t *record) {
    size_t size = record_size;
    return tpm_read_slot(record_slot(), record, &size);
}

}  // namespace

bool ostdrv::fitted_chip_is_trustx() {
    int type = 0;
    return tpm_get_chip_type(&type) == status_ok && type == 2;
}

int tpm_cert_get_version(uint8_t *version) {
    if (!version) return status_argument;

    uint8_t record[record_size] = {};
    const int status = read_record(record);
    if (status == status_ok) *version = record[version_byte];
    return status;
}

int tpm_cert_set_serial_number(const uint8_t *serial, int len) {
    if (!serial || len < 1 || len > longest_serial) return status_serial_number;

    uint8_t record[record_size] = {};
    std::memcpy(record, serial, static_cast<size_t>(len));
    record[version_byte] = written_version;
    return tpm_write_slot(record_slot(), record, sizeof record);
}

int tpm_cert_get_serial_number(char *serial, int *len) {
    if (!serial || *len <= 0) return status_argument;

    uint8_t record[record_size] = {};
    const int status = read_record(record);
    if (*len > longest_serial) *len = longest_serial + 1;
    std::memcpy(serial, record, static_cast<size_t>(*len));
    serial[*len] = '\0';
    return status;
}

int tpm_cert_lock_serial_number(void) { return tpm_lock_slot(record_slot()); }
