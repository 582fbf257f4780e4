// The C library's own version of a function that this library puts itself in front of.
#ifndef OSTDRV_SIM_REAL_HPP
#define OSTDRV_SIM_REAL_HPP

#include <dlfcn.h>

namespace ostdrv::sim {

template <typename Function>
Function *next_symbol(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace ostdrv::sim

#define OSTDRV_REAL(function)                                                                                \
    ([]() noexcept {                                                                                         \
        static decltype(&::function) const real = ostdrv::sim::next_symbol<decltype(::function)>(#function); \
        return real;                                                                                         \
    }())

#endif
