// How the library drives the platform's settings store: which settings each region has, and how a region is opened.
#ifndef OSTDRV_SENSOR_EEPROM_SETTINGS_HPP
#define OSTDRV_SENSOR_EEPROM_SETTINGS_HPP

#include <cstddef>

#include "ostdrv.h"

namespace ostdrv {

enum EepromFieldKind { EEPROM_FIELD_NONE = 0, EEPROM_FIELD_HEX = 1, EEPROM_FIELD_STRING = 2 };

inline constexpr char supported_version[] = "s5l";

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

// The slots that hold a table, in order. (The library's filter view would do, were clang 14 able to compile it.)
class NamedSlots {
 public:
    explicit NamedSlots(const x_sensor_eeprom_table *tables) : tables_(tables) {}

    class Iterator {
     public:
        using value_type = int;
        using difference_type = std::ptrdiff_t;
        Iterator() = default;
        Iterator(const x_sensor_eeprom_table *tables, int slot) : tables_(tables), slot_(slot) { skip_unnamed(); }
        int operator*() const { return slot_; }
        Iterator &operator++() {
            ++slot_;
            skip_unnamed();
            return *this;
        }
        Iterator operator++(int) {
            const Iterator here = *this;
            ++*this;
            return here;
        }
        bool operator==(const Iterator &other) const { return slot_ == other.slot_; }

     private:
        void skip_unnamed() {
            while (slot_ < X_SENSOR_EEPROM_TABLES && tables_[slot_].name[0] == '\0') ++slot_;
        }
        const x_sensor_eeprom_table *tables_ = nullptr;
        int slot_ = 0;
    };
    Iterator begin() const { return {tables_, 0}; }
    Iterator end() const { return {tables_, X_SENSOR_EEPROM_TABLES}; }

 private:
    const x_sensor_eeprom_table *tables_;
};
inline NamedSlots named_slots(const x_sensor_eeprom_table *tables) { return NamedSlots(tables); }

// Failures of an operation, before the settings store is open and while it is: what the operation returns.
int fail(int *status, int code);
int close_and_fail(int *status, int code);

// Open the settings store over a region and declare its settings: 0 with the store left open for the caller to close,
// or -1 with the store closed.
//
// The calibration region's are a size and the data of each named slot. With `load` they are read back: sizes into the
// slots' lengths, data into the slots.
int eeprom_calib_settings_open(const char *path, unsigned int eeprom_size, unsigned char load,
                               x_sensor_eeprom_table *tables, int *status);

// The header region is always read. With `check`, an empty text or an all-zero byte string is a failure.
int eeprom_header_settings_open(const char *path, unsigned char check, int *status);

}  // namespace ostdrv

#endif
