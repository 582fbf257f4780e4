// How the certificate functions fail: whatever goes wrong below them is thrown with its code and caught at the top.
#ifndef OSTDRV_SIM_ATECC_REFUSED_HPP
#define OSTDRV_SIM_ATECC_REFUSED_HPP

#include <algorithm>
#include <cstddef>

#include "atcacert.h"
#include "core/c_border.hpp"
#include "core/crypto.hpp"

namespace ostdrv::sim::atecc {

struct Refused {
    int code;
};

inline void require(bool condition, int code) {
    if (!condition) throw Refused{code};
}

// The value of what may be nothing.
template <typename T>
T required(std::optional<T> value, int code) {
    require(value.has_value(), code);
    return *std::move(value);
}

template <typename Action>
int refusable(const Call &call, Action action) {
    return answered<int>(call, ATCACERT_E_ERROR, [&]() -> int {
        try {
            action();
            return ATCACERT_E_SUCCESS;
        } catch (const Refused &refused) {
            return refused.code;
        }
    });
}

// Copies a result into the caller's buffer; *size holds its capacity, then the size of the result even when it does
// not fit.
template <typename Result, typename Unit>
void deliver(const Result &result, Unit *buffer, std::size_t *size) {
    const bool fits = result.size() <= *size;
    *size = result.size();
    require(fits, ATCACERT_E_BUFFER_TOO_SMALL);
    std::copy(result.begin(), result.end(), buffer);
}

}  // namespace ostdrv::sim::atecc

#endif
