// The operations on the header region: store, load and check it.
#include <kset.h>

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

int compare_header(const unsigned char *cached_md5) {
    const char *const version = kset_get_string(X_SENSOR_EEPROM_HEADER_VERSION);
    if (!version || strcmp(version, supported_version) != 0) return X_SENSOR_EEPROM_ERR_VERSION;
    const uint8_t *const stored_md5 = kset_get_hex(header_hash_id);
    if (!stored_md5) return X_SENSOR_EEPROM_ERR_EMPTY;

    printf("Cached md5 is [%.*s] eeprom md5 is [%.*s]\n", header_hash_size, reinterpret_cast<const char *>(cached_md5),
           header_hash_size, reinterpret_cast<const char *>(stored_md5));
    return memcmp(stored_md5, cached_md5, header_hash_size) == 0 ? X_SENSOR_EEPROM_OK : X_SENSOR_EEPROM_ERR_HASH;
}

}  // namespace

int x_sensor_eeprom_store_header(const char *path, const x_sensor_eeprom_payload *payload, int *status) {
    if (x_sysfs_exists(path) != 0) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    if (eeprom_header_settings_open(path, 0, status) != 0) return -1;
    const int code = for_each_text([&](int id) {
        kset_set_string(id, payload->header[id]);
        return X_SENSOR_EEPROM_OK;
    });
    if (code != X_SENSOR_EEPROM_OK) return close_and_fail(status, code);
    kset_set_hex(header_hash_id, payload->hash);

    *status = X_SENSOR_EEPROM_OK;
    // A settings store whose write failed is left to the next kset_init.
    if (kset_write() != 0) return fail(status, X_SENSOR_EEPROM_ERR_WRITE);
    kset_shutdown();
    return 0;
}

int x_sensor_eeprom_load_header(const char *path, x_sensor_eeprom_payload *payload, int *status) {
    if (x_sysfs_exists(path) != 0) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    if (eeprom_header_settings_open(path, 1, status) != 0) return -1;
    const int code = for_each_text([&](int id) { return take_text(id, payload->header[id]); });
    if (code != X_SENSOR_EEPROM_OK) return close_and_fail(status, code);
    const uint8_t *const hash = kset_get_hex(header_hash_id);
    if (!hash) return close_and_fail(status, X_SENSOR_EEPROM_ERR_EMPTY);
    memcpy(payload->hash, hash, header_hash_size);

    kset_shutdown();
    *status = X_SENSOR_EEPROM_OK;
    return 0;
}

int x_sensor_eeprom_check_header(const char *path, const unsigned char *cached_md5, int *status) {
    if (x_sysfs_exists(path) != 0) return fail(status, X_SENSOR_EEPROM_ERR_DEVICE);
    if (eeprom_header_settings_open(path, 1, status) != 0) return -1;
    *status = compare_header(cached_md5);
    kset_shutdown();
    return *status == X_SENSOR_EEPROM_OK ? 0 : -1;
}
