// Memory of the platform's allocator for the duration of a call.
#ifndef OSTDRV_SUPPORT_KOS_MEMORY_HPP
#define OSTDRV_SUPPORT_KOS_MEMORY_HPP

#include <kos.h>

#include <cstddef>

namespace ostdrv {

class KosMemory {
 public:
    explicit KosMemory(std::size_t size) : memory_(kos_mem_alloc(size)) {}
    ~KosMemory() {
        if (memory_) kos_mem_free(memory_);
    }
    KosMemory(const KosMemory &) = delete;
    KosMemory &operator=(const KosMemory &) = delete;

    explicit operator bool() const { return memory_ != nullptr; }
    void *get() const { return memory_; }

 private:
    void *memory_;
};

}  // namespace ostdrv

#endif
