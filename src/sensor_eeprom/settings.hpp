// How the library drives the platform's settings store: which settings each region has, and how a region is opened.
#ifndef OSTDRV_SENSOR_EEPROM_SETTINGS_HPP
#define OSTDRV_SENSOR_EEPROM_SETTINGS_HPP

#include <kset.h>

#include "ostdrv.h"
#include "support/owned.hpp"

namespace ostdrv {

enum EepromFieldKind { EEPROM_FIELD_NONE = 0, EEPROM_FIELD_HEX = 1, EEPROM_FIELD_STRING = 2 };

inline constexpr char supported_version[] = X_SENSOR_EEPROM_LAYOUT_VERSION;

inline constexpr int header_identifiers = 11;
inline constexpr int header_first_id = X_SENSOR_EEPROM_HEADER_SENSOR;
inline constexpr int header_last_text_id = X_SENSOR_EEPROM_HEADER_SN;
inline constexpr int header_hash_id = 10;
inline constexpr int header_hash_size = 16;

// By identifier in the header region.
struct EepromHeaderFields {
    const char *name[header_identifiers];
    int kind[header_identifiers];
    int length[header_identifiers];
};
extern const EepromHeaderFields eeprom_header_fields;

constexpr int data_id(int slot) { return slot + 1; }
constexpr int size_id(int slot) { return slot + 1 + X_SENSOR_EEPROM_TABLES; }

inline bool is_named(const x_sensor_eeprom_table &table) { return table.name[0] != '\0'; }

// Functions of this room return an X_SENSOR_EEPROM_ code. An exported operation ends with this: it stores the code and
// returns what stands for it.
inline int report(int code, int *status) {
    *status = code;
    return code == X_SENSOR_EEPROM_OK ? 0 : -1;
}

// The settings store, from its opening over a region to the end of the scope.
struct SettingsStore : Owned<bool, kset_shutdown> {
    void open(unsigned int identifiers, unsigned int region_size, kset_read_fn from_region, kset_write_fn to_region) {
        kset_init(identifiers, region_size, -1, from_region, to_region);
        reset(true);
    }
    int read() const { return kset_read() == 0 ? X_SENSOR_EEPROM_OK : X_SENSOR_EEPROM_ERR_READ; }
    // A store whose write failed is left to the next kset_init, as promised.
    int write() {
        if (kset_write() == 0) return X_SENSOR_EEPROM_OK;
        release();
        return X_SENSOR_EEPROM_ERR_WRITE;
    }
};

// Open the store over a region and declare its settings.
//
// The calibration region's are a size and the data of each named slot. With `load` they are read back: sizes into the
// slots' lengths, data into the slots.
int eeprom_calib_settings_open(SettingsStore &store, const char *path, unsigned int eeprom_size, bool load,
                               x_sensor_eeprom_table *tables);

// The header region is always read. With `check`, an empty text or an all-zero byte string is a failure.
int eeprom_header_settings_open(SettingsStore &store, const char *path, bool check);

}  // namespace ostdrv

#endif
