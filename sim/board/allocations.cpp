// The allocator, as the fault plan sees it. Linked into tests only: no command needs a failing malloc.
#include <cstdlib>
#include <new>

#include "core/fault_plan.hpp"
#include "core/live_blocks.hpp"
#include "real.hpp"

using ostdrv::sim::Call;

namespace {

constexpr auto kind = ostdrv::sim::CallKind::allocation;

void *noted(const Call &call, void *block) {
    if (call.seen()) ostdrv::sim::block_taken(block);
    return block;
}

}  // namespace

extern "C" {

void *malloc(std::size_t size) noexcept {
    if (!ostdrv::sim::fault_plan::active) return OSTDRV_REAL(malloc)(size);
    Call call(kind, "malloc", "%zu", size);
    return call.fails() ? nullptr : noted(call, OSTDRV_REAL(malloc)(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    if (!ostdrv::sim::fault_plan::active) return OSTDRV_REAL(calloc)(count, size);
    Call call(kind, "calloc", "%zu", count * size);
    return call.fails() ? nullptr : noted(call, OSTDRV_REAL(calloc)(count, size));
}

void free(void *memory) noexcept {
    ostdrv::sim::block_given_back(memory);
    OSTDRV_REAL(free)(memory);
}

}  // extern "C"

// The library under test has no C++ allocations: these are the test's own.
void *operator new(std::size_t size) {
    const ostdrv::sim::Unseen unseen;
    void *const memory = std::malloc(size ? size : 1);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
