// The sensor's EEPROM as its driver shows it: a file of its cells that neither grows nor shrinks.
#ifndef OSTDRV_SIM_EEPROM_HPP
#define OSTDRV_SIM_EEPROM_HPP

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace ostdrv::sim {

inline constexpr std::string_view eeprom_path = "/var/tmp/eeprom";
inline constexpr std::size_t eeprom_size = 4096;

// An erased one, where there is none yet.
void make_eeprom();

// How many bytes were taken, or an error number below 0. A part that is protected acknowledges and keeps its cells.
ssize_t store_cells(std::string_view bytes, off_t position);

}  // namespace ostdrv::sim

#endif
