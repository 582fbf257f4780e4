// Zero-filled memory for the duration of a call.
#ifndef OSTDRV_SUPPORT_SCRATCH_MEMORY_HPP
#define OSTDRV_SUPPORT_SCRATCH_MEMORY_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace ostdrv {

class ScratchMemory {
 public:
    // Never empty: a size of 0 gives one byte, so that no memory and no bytes are not mistaken for each other.
    explicit ScratchMemory(std::size_t size) : memory_(std::calloc(size ? size : 1, 1)) {}
    ~ScratchMemory() { std::free(memory_); }
    ScratchMemory(const ScratchMemory &) = delete;
    ScratchMemory &operator=(const ScratchMemory &) = delete;

    explicit operator bool() const { return memory_ != nullptr; }
    std::uint8_t *bytes() const { return static_cast<std::uint8_t *>(memory_); }
    char *text() const { return static_cast<char *>(memory_); }

 private:
    void *memory_;
};

}  // namespace ostdrv

#endif
