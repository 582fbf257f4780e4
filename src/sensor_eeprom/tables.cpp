// The operations on the calibration tables: store, load, and the erasure of the whole EEPROM.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ostdrv.h"
#include "sensor_eeprom/kos_memory.hpp"
#include "sensor_eeprom/settings.hpp"

using namespace ostdrv;

namespace {

bool has_table(const x_sensor_eeprom_table &table) { return table.data && table.length > 0 && table.capacity != 0; }

bool is_storable(const x_sensor_eeprom_payload *payload) {
    if (!payload) return false;
    const char *const version = payload->header[X_SENSOR_EEPROM_HEADER_VERSION];
    if (memcmp(version, supported_version, sizeof supported_version) != 0) return false;
    return std::ranges::all_of(payload->tables, [](const auto &table) { return !is_named(table) || has_table(table); });
}

bool device_size(const char *path, unsigned int *size) {
    return x_sysfs_exists(path) == 0 && x_sysfs_size(path, size) == 0;
}

// Returns how many bytes the tables take together.
unsigned int set_tables(const x_sensor_eeprom_table *tables) {
    unsigned int total = 0;
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        const x_sensor_eeprom_table &table = tables[slot];
        if (!is_named(table)) continue;
        printf("Updating data setting [%d] with name [%s] with [%d] bytes of data\n", data_id(slot), table.name,
               table.length);
        kset_set_hex(data_id(slot), table.data);
        printf("Updating size setting [%d] with value [%d]\n", size_id(slot), table.length);
        kset_set_int(size_id(slot), table.length);
        total += static_cast<unsigned int>(table.length);
    }
    return total;
}

int write_tables(const char *path, unsigned int size, x_sensor_eeprom_table *tables) {
    SettingsStore store;
    if (const int code = eeprom_calib_settings_open(store, path, size, false, tables)) return code;
    // The whole file's size, as promised: tables that fit it but not their region fail in the write, which knows.
    if (size < set_tables(tables)) return X_SENSOR_EEPROM_ERR_TOO_LARGE;

    puts("Saving data to EEPROM");
    return store.write();
}

int digest_tables(const x_sensor_eeprom_table *tables, x_sensor_eeprom_md5_ctx &md5) {
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        if (!is_named(tables[slot])) continue;
        const int length = kset_get_int(size_id(slot));
        printf("Found table [%s] with [%d] bytes of data updating md5\n", tables[slot].name, length);
        const uint8_t *const data = kset_get_hex(data_id(slot));
        // The data has the length that it was declared with: a size that has changed since would read beyond it.
        if (length != tables[slot].length || (length > 0 && !data)) return X_SENSOR_EEPROM_ERR_READ;
        x_sensor_eeprom_md5_update(&md5, data, static_cast<unsigned int>(length));
    }
    return X_SENSOR_EEPROM_OK;
}

// Whatever fails here is one code: the tables cannot be had back.
int read_back_tables(const char *path, unsigned int size, x_sensor_eeprom_table *tables, x_sensor_eeprom_md5_ctx &md5) {
    SettingsStore store;
    if (eeprom_calib_settings_open(store, path, size, true, tables) != X_SENSOR_EEPROM_OK)
        return X_SENSOR_EEPROM_ERR_READ;
    return digest_tables(tables, md5);
}

int store_tables(const char *path, x_sensor_eeprom_payload *payload) {
    unsigned int size = 0;
    if (!is_storable(payload)) return X_SENSOR_EEPROM_ERR_PAYLOAD;
    if (!device_size(path, &size)) return X_SENSOR_EEPROM_ERR_DEVICE;
    if (const int code = write_tables(path, size, payload->tables)) return code;

    x_sensor_eeprom_md5_ctx md5;
    x_sensor_eeprom_md5_init(&md5);
    puts("Reload data from EEPROM");
    if (const int code = read_back_tables(path, size, payload->tables, md5)) return code;
    puts("Computing final md5 and saving to EEPROM");
    x_sensor_eeprom_md5_finalise(&md5, payload->hash);
    return X_SENSOR_EEPROM_OK;
}

int load_tables(const char *path, x_sensor_eeprom_table *tables) {
    unsigned int size = 0;
    if (!device_size(path, &size)) return X_SENSOR_EEPROM_ERR_DEVICE;
    SettingsStore store;
    const int code = eeprom_calib_settings_open(store, path, size, true, tables);
    return code == X_SENSOR_EEPROM_OK ? code : X_SENSOR_EEPROM_ERR_READ;
}

}  // namespace

int x_sensor_eeprom_store(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    const int code = store_tables(path, payload);
    return code == X_SENSOR_EEPROM_OK ? x_sensor_eeprom_store_header(path, payload, status) : report(code, status);
}

int x_sensor_eeprom_load(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    return report(load_tables(path, payload->tables), status);
}

int x_sensor_eeprom_reset(const char *path, int *status) {
    unsigned int size = 0;
    if (!device_size(path, &size)) return report(X_SENSOR_EEPROM_ERR_DEVICE, status);
    printf("EEPROM size is: %d\n", static_cast<int>(size));
    // What follows is told by the result alone, as promised.
    *status = X_SENSOR_EEPROM_OK;

    const KosMemory erased(size);
    if (!erased) return -1;
    memset(erased.get(), 0xFF, size);
    return x_sysfs_write_bytes(path, erased.get(), 0, size);
}
