// The operations on the header region: store, load and check it.
#include <cstdio>
#include <cstring>

#include "ostdrv.h"
#include "sensor_eeprom/settings.hpp"

using namespace ostdrv;

namespace {

// Moves the text of each header text field in turn and returns the first status that is not ok.
template <typename Move>
int for_each_text(Move move) {
    for (int id = header_first_id; id <= header_last_text_id; ++id) {
        const int kind = eeprom_header_fields.kind[id];
        if (kind == EEPROM_FIELD_NONE) continue;
        const int code = kind == EEPROM_FIELD_STRING ? move(id) : X_SENSOR_EEPROM_ERR_FIELD_TYPE;
        if (code != X_SENSOR_EEPROM_OK) return code;
    }
    return X_SENSOR_EEPROM_OK;
}

int take_text(int id, char (&field)[32]) {
    const char *const text = kset_get_string(id);
    if (!text) return X_SENSOR_EEPROM_ERR_EMPTY;
    snprintf(field, sizeof field, "%s", text);
    return X_SENSOR_EEPROM_OK;
}

int take_hash(uint8_t *hash) {
    const uint8_t *const stored = kset_get_hex(header_hash_id);
    if (!stored) return X_SENSOR_EEPROM_ERR_EMPTY;
    memcpy(hash, stored, header_hash_size);
    return X_SENSOR_EEPROM_OK;
}

int compare_header(const unsigned char *cached_md5) {
    const char *const version = kset_get_string(X_SENSOR_EEPROM_HEADER_VERSION);
    if (!version || strcmp(version, supported_version) != 0) return X_SENSOR_EEPROM_ERR_VERSION;
    const uint8_t *const stored_md5 = kset_get_hex(header_hash_id);
    if (!stored_md5) return X_SENSOR_EEPROM_ERR_EMPTY;

    // Raw bytes, as promised: each ends at its first zero byte.
    printf("Cached md5 is [%.*s] eeprom md5 is [%.*s]\n", header_hash_size, reinterpret_cast<const char *>(cached_md5),
           header_hash_size, reinterpret_cast<const char *>(stored_md5));
    return memcmp(stored_md5, cached_md5, header_hash_size) == 0 ? X_SENSOR_EEPROM_OK : X_SENSOR_EEPROM_ERR_HASH;
}

// Does what is to be done while the header region is open.
template <typename Action>
int with_header(const char *path, bool check, Action action) {
    if (x_sysfs_exists(path) != 0) return X_SENSOR_EEPROM_ERR_DEVICE;
    SettingsStore store;
    const int code = eeprom_header_settings_open(store, path, check);
    return code == X_SENSOR_EEPROM_OK ? action(store) : code;
}

int store_header(SettingsStore &store, const x_sensor_eeprom_payload &payload) {
    const int code = for_each_text([&](int id) {
        kset_set_string(id, payload.header[id]);
        return X_SENSOR_EEPROM_OK;
    });
    if (code != X_SENSOR_EEPROM_OK) return code;
    kset_set_hex(header_hash_id, payload.hash);
    return store.write();
}

int load_header(x_sensor_eeprom_payload &payload) {
    const int code = for_each_text([&](int id) { return take_text(id, payload.header[id]); });
    return code == X_SENSOR_EEPROM_OK ? take_hash(payload.hash) : code;
}

}  // namespace

int x_sensor_eeprom_store_header(const char *path, const x_sensor_eeprom_payload *payload, int *status) {
    return report(with_header(path, false, [&](SettingsStore &store) { return store_header(store, *payload); }),
                  status);
}

int x_sensor_eeprom_load_header(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    return report(with_header(path, true, [&](SettingsStore &) { return load_header(*payload); }), status);
}

int x_sensor_eeprom_check_header(const char *path, const unsigned char *cached_md5, int *status) {
    return report(with_header(path, true, [&](SettingsStore &) { return compare_header(cached_md5); }), status);
}
