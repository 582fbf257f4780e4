// The C library's own version of a function that this library puts itself in front of.
#ifndef OSTDRV_SIM_REAL_HPP
#define OSTDRV_SIM_REAL_HPP

#include <dlfcn.h>

#include <cstdio>

extern "C" [[gnu::weak]] void __asan_init();

namespace ostdrv::sim {

inline const void *object_of(const void *symbol) {
    Dl_info info;
    return symbol && dladdr(symbol, &info) ? info.dli_fbase : nullptr;
}

// clang links AddressSanitizer into the program, where the board's functions take the place of its versions too. Those
// have a second name, and their checks of what the C library reads and writes are wanted. A sanitizer in a library of
// its own comes before a preloaded board and calls it: it must not be called back.
template <typename Function>
Function *next_symbol(const char *name) {
    void *checked = nullptr;
    if (__asan_init) {  // without it, a search in vain would want memory of the allocator that is being looked for
        char second_name[64];
        std::snprintf(second_name, sizeof second_name, "__interceptor_%s", name);
        checked = dlsym(RTLD_DEFAULT, second_name);
    }
    const auto here = reinterpret_cast<const void *>(&next_symbol<Function>);
    const bool linked_in = checked && object_of(checked) == object_of(here);
    return reinterpret_cast<Function *>(linked_in ? checked : dlsym(RTLD_NEXT, name));
}

}  // namespace ostdrv::sim

#define OSTDRV_REAL(function)                                                                                \
    ([]() noexcept {                                                                                         \
        static decltype(&::function) const real = ostdrv::sim::next_symbol<decltype(::function)>(#function); \
        return real;                                                                                         \
    }())

#endif
