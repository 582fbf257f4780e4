// The operations on the calibration tables: store, load, and the erasure of the whole EEPROM.
#include <kset.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ostdrv.h"
#include "sensor_eeprom/settings.hpp"
#include "support/kos_memory.hpp"

using namespace ostdrv;

namespace {

bool has_table(const x_sensor_eeprom_table &table) { return table.data && table.length > 0 && table.capacity != 0; }

bool is_storable(const x_sensor_eeprom_payload *payload) {
    if (!payload) return false;
    const char *const version = payload->header[X_SENSOR_EEPROM_HEADER_VERSION];
    if (memcmp(version, supported_version, sizeof supported_version) != 0) return false;
    return std::ranges::all_of(named_slots(payload->tables),
                               [&](int slot) { return has_table(payload->tables[slot]); });
}

bool device_size(const char *path, unsigned int *size) {
    return x_sysfs_exists(path) == 0 && x_sysfs_size(path, size) == 0;
}

// Returns how many bytes the tables take together.
unsigned int set_tables(const x_sensor_eeprom_table *tables) {
    unsigned int total = 0;
    for (const int slot : named_slots(tables)) {
        const x_sensor_eeprom_table &table = tables[slot];
        printf("Updating data setting [%d] with name [%s] with [%d] bytes of data\n", data_id(slot), table.name,
               table.length);
        kset_set_hex(data_id(slot), table.data);
        printf("Updating size setting [%d] with value [%d]\n", size_id(slot), table.length);
        kset_set_int(size_id(slot), table.length);
        total += static_cast<unsigned int>(table.length);
    }
    return total;
}

int write_tables(const char *path, unsigned int size, x_sensor_eeprom_table *tables, int *status) {
    if (eeprom_calib_settings_open(path, size, 0, tables, status) != 0) return -1;
    if (size < set_tables(tables)) return close_and_fail(status, X_SENSOR_EEPROM_ERR_TOO_LARGE);

    puts("Saving data to EEPROM");
    // A settings store whose write failed is left to the next kset_init.
    if (kset_write() != 0) return fail(status, X_SENSOR_EEPROM_ERR_WRITE);
    kset_shutdown();
    return 0;
}

// False when a table that was read back is not there any more.
bool digest_tables(const x_sensor_eeprom_table *tables, x_sensor_eeprom_md5_ctx &md5) {
    for (const int slot : named_slots(tables)) {
        const int length = kset_get_int(size_id(slot));
        printf("Found table [%s] with [%d] bytes of data updating md5\n", tables[slot].name, length);
        const uint8_t *const data = kset_get_hex(data_id(slot));
        if (!data) return false;
        x_sensor_eeprom_md5_update(&md5, data, static_cast<unsigned int>(length));
    }
    return true;
}

}  // namespace

int x_sensor_eeprom_store(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    unsigned int size = 0;
    if (!is_storable(payload)) return fail(status, X_SENSOR_EEPROM_ERR_PAYLOAD);
    if (!device_size(path, &size)) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    if (write_tables(path, size, payload->tables, status) != 0) return -1;

    x_sensor_eeprom_md5_ctx md5;
    x_sensor_eeprom_md5_init(&md5);
    puts("Reload data from EEPROM");
    if (eeprom_calib_settings_open(path, size, 1, payload->tables, status) != 0)
        return fail(status, X_SENSOR_EEPROM_ERR_READ);
    if (!digest_tables(payload->tables, md5)) return close_and_fail(status, X_SENSOR_EEPROM_ERR_READ);
    kset_shutdown();

    puts("Computing final md5 and saving to EEPROM");
    x_sensor_eeprom_md5_finalise(&md5, payload->hash);
    return x_sensor_eeprom_store_header(path, payload, status);
}

int x_sensor_eeprom_load(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    unsigned int size = 0;
    if (!device_size(path, &size)) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    if (eeprom_calib_settings_open(path, size, 1, payload->tables, status) != 0)
        return fail(status, X_SENSOR_EEPROM_ERR_READ);

    *status = X_SENSOR_EEPROM_OK;
    kset_shutdown();
    return 0;
}

int x_sensor_eeprom_reset(const char *path, int *status) {
    unsigned int size = 0;
    if (!device_size(path, &size)) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    printf("EEPROM size is: %d\n", static_cast<int>(size));
    *status = X_SENSOR_EEPROM_OK;

    const KosMemory erased(size);
    if (!erased) return -1;
    memset(erased.get(), 0xFF, size);
    return x_sysfs_write_bytes(path, erased.get(), 0, size);
}
