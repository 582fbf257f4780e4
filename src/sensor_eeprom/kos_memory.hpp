// Memory of the platform's allocator for the duration of a call.
#ifndef OSTDRV_SENSOR_EEPROM_KOS_MEMORY_HPP
#define OSTDRV_SENSOR_EEPROM_KOS_MEMORY_HPP

#include <kos.h>

#include <cstddef>

#include "support/owned.hpp"

namespace ostdrv {

struct KosMemory : Owned<void *, kos_mem_free> {
    explicit KosMemory(std::size_t size) : Owned(kos_mem_alloc(size)) {}
};

}  // namespace ostdrv

#endif
