#include <cstdlib>

#include "core/fault_plan.hpp"
#include "core/live_blocks.hpp"
#include "kos.h"

namespace ostdrv::sim::kset {

extern "C" void *kos_mem_alloc(size_t size) {
    Call call(CallKind::platform, "kos_mem_alloc", "%zu", size);
    if (call.fails()) return nullptr;
    void *block = std::malloc(size ? size : 1);
    block_taken(block);
    return block;
}

extern "C" void kos_mem_free(void *memory) {
    block_given_back(memory);
    std::free(memory);
}

}  // namespace ostdrv::sim::kset
