// What the calls share that a simulated board stands in front of: each is logged or failed as the fault plan says, has
// the device's paths mapped to the board's, is answered by the board's kernel where that is asked, and is else carried
// out by the C library. Counted are those that the library under test makes.
#ifndef OSTDRV_SIM_CALLS_HPP
#define OSTDRV_SIM_CALLS_HPP

#include <cctype>
#include <cstddef>

#include "core/fault_plan.hpp"
#include "kernel.hpp"
#include "real.hpp"

// Defining the C library's names as its headers declare them, with their own parameter names.
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif
#pragma GCC diagnostic ignored "-Wredundant-decls"

// The second name that a function has for programs with large files, where sizes have 64 bits anyway.
#define OSTDRV_ALSO_64(name) [[gnu::alias(#name)]] decltype(::name) name##64;

namespace ostdrv::sim {

constexpr auto kind = CallKind::system;

// How many of the bytes written a log line shows: all of them when they are a short text.
inline int shown(const void *bytes, std::size_t size) {
    const char *text = static_cast<const char *>(bytes);
    if (size > 32) return 0;
    for (std::size_t i = 0; i < size; ++i)
        if (!std::isprint(static_cast<unsigned char>(text[i]))) return 0;
    return static_cast<int>(size);
}

// A new descriptor, or none; and one that is no more.
int opened(int descriptor);
void closed(int descriptor);

}  // namespace ostdrv::sim

#endif
