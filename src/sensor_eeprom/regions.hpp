// The two regions of the sensor module's EEPROM and the file that holds them.
#ifndef OSTDRV_SENSOR_EEPROM_REGIONS_HPP
#define OSTDRV_SENSOR_EEPROM_REGIONS_HPP

namespace ostdrv {

inline constexpr unsigned int header_offset = 0;
inline constexpr unsigned int header_region_size = 256;
inline constexpr unsigned int calib_offset = header_region_size;

// The caller's string, not a copy. Null until a settings store is opened for the first time.
extern const char *eeprom_sysfs_path;

}  // namespace ostdrv

#endif
