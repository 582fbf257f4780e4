// Zero-filled memory for the duration of a call.
#ifndef OSTDRV_CERTIFICATES_SCRATCH_MEMORY_HPP
#define OSTDRV_CERTIFICATES_SCRATCH_MEMORY_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "support/owned.hpp"

namespace ostdrv {

struct ScratchMemory : Owned<void *, std::free> {
    // Never empty: a size of 0 gives one byte, so that no memory and no bytes are not mistaken for each other.
    explicit ScratchMemory(std::size_t size) : Owned(std::calloc(size ? size : 1, 1)) {}

    std::uint8_t *bytes() const { return static_cast<std::uint8_t *>(get()); }
    char *text() const { return static_cast<char *>(get()); }
};

}  // namespace ostdrv

#endif
