// Device memory, for the programs that run on the virtual board.
#ifndef OSTDRV_BOARD_MAPPED_HPP
#define OSTDRV_BOARD_MAPPED_HPP

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

#include "world.hpp"

namespace ostdrv::board {

// For as long as the process lives.
inline volatile void *map_device(std::uint64_t address, std::size_t size) {
    const int memory = open("/dev/mem", O_RDWR | O_SYNC | O_CLOEXEC);
    void *const mapped =
        memory < 0 ? MAP_FAILED
                   : mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory, static_cast<off_t>(address));
    if (mapped == MAP_FAILED) {
        std::perror("/dev/mem");
        std::exit(1);
    }
    return mapped;
}

inline World &mapped_world() {
    return *static_cast<World *>(const_cast<void *>(map_device(world_address, world_size)));
}

inline Register &register_at(std::uint64_t address) {
    const auto page = static_cast<volatile char *>(map_device(address & ~std::uint64_t{4095}, 4096));
    return *reinterpret_cast<Register *>(page + (address & 4095));
}

}  // namespace ostdrv::board

#endif
