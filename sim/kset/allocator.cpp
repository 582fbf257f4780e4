#include <cstdlib>

#include "core/fault_plan.hpp"
#include "core/live_blocks.hpp"
#include "kos.h"

using ostdrv::sim::Call;
using ostdrv::sim::CallKind;

extern "C" void *kos_mem_alloc(size_t size) {
    Call call(CallKind::platform, "kos_mem_alloc", "%zu", size);
    if (call.fails()) return nullptr;
    void *block = std::malloc(size ? size : 1);
    ostdrv::sim::block_taken(block);
    return block;
}

extern "C" void kos_mem_free(void *memory) {
    ostdrv::sim::block_given_back(memory);
    std::free(memory);
}
