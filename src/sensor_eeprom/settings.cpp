#include "sensor_eeprom/settings.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "sensor_eeprom/regions.hpp"

namespace ostdrv {

constexpr EepromHeaderFields eeprom_header_fields = {
    .name = {nullptr, "header_sensor", "header_version", "header_lens", "header_sn", nullptr, nullptr, nullptr, nullptr,
             nullptr, "header_hash"},
    .kind = {EEPROM_FIELD_NONE, EEPROM_FIELD_STRING, EEPROM_FIELD_STRING, EEPROM_FIELD_STRING, EEPROM_FIELD_STRING,
             EEPROM_FIELD_NONE, EEPROM_FIELD_NONE, EEPROM_FIELD_NONE, EEPROM_FIELD_NONE, EEPROM_FIELD_NONE,
             EEPROM_FIELD_HEX},
    .length = {0, 32, 32, 32, 32, 0, 0, 0, 0, 0, header_hash_size},
};

namespace {

bool is_zero(uint8_t byte) { return byte == 0; }

// A setting that cannot be had is as empty as one of zeros.
bool is_empty(const uint8_t *bytes, int length) { return !bytes || std::all_of(bytes, bytes + length, is_zero); }

// What is copied into a slot never exceeds its buffer, nor the largest table, whatever the settings store takes for a
// size.
bool fits(const x_sensor_eeprom_table &table, int length) {
    if (length <= 0) return length == 0;
    return table.data && length <= X_SENSOR_EEPROM_TABLE_CAPACITY &&
           static_cast<unsigned int>(length) <= table.capacity;
}

void declare_sizes(const x_sensor_eeprom_table *tables) {
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        if (!is_named(tables[slot])) continue;
        char name[sizeof tables[slot].name + sizeof "_size" - 1];
        snprintf(name, sizeof name, "%s_size", tables[slot].name);
        kset_add_int(size_id(slot), name, 0, X_SENSOR_EEPROM_TABLE_CAPACITY, 0);
        printf("Created size setting [%d] with name [%s] with default value [%d]\n", size_id(slot), name, 0);
    }
}

int take_sizes(x_sensor_eeprom_table *tables) {
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        x_sensor_eeprom_table &table = tables[slot];
        if (!is_named(table)) continue;
        table.length = kset_get_int(size_id(slot));
        printf("Size of [%s] expected to be [%d]\n", table.name, table.length);
        if (fits(table, table.length)) continue;
        table.length = 0;
        return X_SENSOR_EEPROM_ERR_READ;
    }
    return X_SENSOR_EEPROM_OK;
}

void declare_data(const x_sensor_eeprom_table *tables) {
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        const x_sensor_eeprom_table &table = tables[slot];
        if (!is_named(table)) continue;
        kset_add_hex(data_id(slot), table.name, table.length, nullptr);
        printf("Created data setting [%d] with name [%s] and length [%d]\n", data_id(slot), table.name, table.length);
    }
}

int take_data(x_sensor_eeprom_table *tables) {
    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        const x_sensor_eeprom_table &table = tables[slot];
        if (!is_named(table) || table.length == 0) continue;
        const uint8_t *const value = kset_get_hex(data_id(slot));
        if (value) memcpy(table.data, value, static_cast<size_t>(table.length));
        if (is_empty(value, table.length)) return X_SENSOR_EEPROM_ERR_EMPTY;
    }
    return X_SENSOR_EEPROM_OK;
}

int declare_header() {
    for (int id = header_first_id; id < header_identifiers; ++id) {
        const char *const name = eeprom_header_fields.name[id];
        const int length = eeprom_header_fields.length[id];
        switch (eeprom_header_fields.kind[id]) {
            case EEPROM_FIELD_NONE:
                break;
            case EEPROM_FIELD_STRING:
                kset_add_string(id, name, length, "");
                break;
            case EEPROM_FIELD_HEX:
                kset_add_hex(id, name, length, nullptr);
                break;
            default:
                return X_SENSOR_EEPROM_ERR_FIELD_TYPE;
        }
    }
    return X_SENSOR_EEPROM_OK;
}

// The status that a header setting's value deserves.
int header_value_status(int id) {
    switch (eeprom_header_fields.kind[id]) {
        case EEPROM_FIELD_NONE:
            return X_SENSOR_EEPROM_OK;
        case EEPROM_FIELD_STRING: {
            const char *const text = kset_get_string(id);
            return text && text[0] != '\0' ? X_SENSOR_EEPROM_OK : X_SENSOR_EEPROM_ERR_EMPTY;
        }
        case EEPROM_FIELD_HEX: {
            const int length = eeprom_header_fields.length[id];
            const bool empty = length <= 0 || is_empty(kset_get_hex(id), length);
            return empty ? X_SENSOR_EEPROM_ERR_EMPTY : X_SENSOR_EEPROM_OK;
        }
        default:
            return X_SENSOR_EEPROM_ERR_FIELD_TYPE;
    }
}

}  // namespace

int eeprom_calib_settings_open(SettingsStore &store, const char *path, unsigned int eeprom_size, bool load,
                               x_sensor_eeprom_table *tables) {
    eeprom_sysfs_path = path;
    if (x_sysfs_exists(path) != 0) return X_SENSOR_EEPROM_ERR_DEVICE;

    // A file shorter than the header region gives a size that no region has; the settings store refuses it.
    store.open(2 * X_SENSOR_EEPROM_TABLES, eeprom_size - calib_offset, eeprom_calib_read, eeprom_calib_write);
    declare_sizes(tables);
    if (!load) {
        declare_data(tables);
        return X_SENSOR_EEPROM_OK;
    }

    // The data's lengths are known once the sizes have been read, so the region is read twice.
    if (const int code = store.read()) return code;
    if (const int code = take_sizes(tables)) return code;
    declare_data(tables);
    if (const int code = store.read()) return code;
    return take_data(tables);
}

int eeprom_header_settings_open(SettingsStore &store, const char *path, bool check) {
    eeprom_sysfs_path = path;
    store.open(header_identifiers, header_region_size, eeprom_header_read, eeprom_header_write);
    if (const int code = declare_header()) return code;
    if (const int code = store.read()) return code;

    for (int id = header_first_id; check && id < header_identifiers; ++id)
        if (const int code = header_value_status(id)) return code;
    return X_SENSOR_EEPROM_OK;
}

}  // namespace ostdrv
