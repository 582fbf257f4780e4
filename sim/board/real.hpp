// The C library's own version of a function that this library puts itself in front of.
#ifndef OSTDRV_SIM_REAL_HPP
#define OSTDRV_SIM_REAL_HPP

#include <dlfcn.h>

#include <cstdio>

extern "C" [[gnu::weak]] void __asan_init();

namespace ostdrv::sim {

// clang links AddressSanitizer into the program, where this library takes the place of its versions too. They have a
// second name, and their checks of what the C library reads and writes are wanted.
template <typename Function>
Function *next_symbol(const char *name) {
    void *checked = nullptr;
    if (__asan_init) {
        char second_name[64];
        std::snprintf(second_name, sizeof second_name, "__interceptor_%s", name);
        checked = dlsym(RTLD_DEFAULT, second_name);
    }
    return reinterpret_cast<Function *>(checked ? checked : dlsym(RTLD_NEXT, name));
}

}  // namespace ostdrv::sim

#define OSTDRV_REAL(function)                                                                                \
    ([]() noexcept {                                                                                         \
        static decltype(&::function) const real = ostdrv::sim::next_symbol<decltype(::function)>(#function); \
        return real;                                                                                         \
    }())

#endif
