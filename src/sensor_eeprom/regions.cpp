#include "sensor_eeprom/regions.hpp"

#include <cstdio>
#include <cstring>

#include "ostdrv.h"
#include "sensor_eeprom/kos_memory.hpp"

using namespace ostdrv;

const char *ostdrv::eeprom_sysfs_path = nullptr;

namespace {

bool path_is_set() {
    if (!eeprom_sysfs_path) printf("EEPROM sysfs path not set");
    return eeprom_sysfs_path != nullptr;
}

bool fits_header(unsigned int length, const char *transfer) {
    if (length > header_region_size)
        printf("Invalid len to %s [%d] > [%d]", transfer, static_cast<int>(length), int{header_region_size});
    return length <= header_region_size;
}

void print_failure(const char *transfer, unsigned int length, const char *place, unsigned int offset) {
    printf("Failed to %s [%d] bytes %s offset [%d] device [%s]\r\n", transfer, static_cast<int>(length), place,
           static_cast<int>(offset), eeprom_sysfs_path);
}

int write_at(unsigned int offset, const void *buffer, unsigned int length) {
    if (x_sysfs_write_bytes(eeprom_sysfs_path, buffer, offset, length) == 0) return 0;
    print_failure("write", length, "to", offset);
    return -1;
}

}  // namespace

int eeprom_header_read(void *buffer, unsigned int length) {
    if (!path_is_set() || !fits_header(length, "read")) return -1;

    // Zeros, as below: a file that ends early must not hand out what the memory held before.
    char bytes[header_region_size] = {};
    if (x_sysfs_read_bytes(eeprom_sysfs_path, bytes, header_offset, length) != 0) {
        print_failure("read", length, "from", header_offset);
        return -1;
    }
    memcpy(buffer, bytes, length);
    return 0;
}

int eeprom_header_write(const void *buffer, unsigned int length) {
    if (!path_is_set() || !fits_header(length, "write")) return -1;
    return write_at(header_offset, buffer, length);
}

int eeprom_calib_read(void *buffer, unsigned int length) {
    if (!path_is_set()) return -1;

    const KosMemory bytes(length);
    if (!bytes) {
        printf("Memory buffer allocation failed");
        return -1;
    }
    memset(bytes.get(), 0, length);
    // Its failure is told by the result alone, as promised.
    const int result = x_sysfs_read_bytes(eeprom_sysfs_path, bytes.get(), calib_offset, length);
    if (result == 0) memcpy(buffer, bytes.get(), length);
    return result;
}

int eeprom_calib_write(const void *buffer, unsigned int length) {
    if (!path_is_set()) return -1;
    return write_at(calib_offset, buffer, length);
}
