// Owner of an object of a C library, such as libcrypto's, with the function that releases it.
#ifndef OSTDRV_SIM_OWNED_HPP
#define OSTDRV_SIM_OWNED_HPP

#include <memory>

namespace ostdrv::sim {

template <auto release>
struct Release {
    template <typename T>
    void operator()(T *object) const {
        release(object);
    }
};

template <typename T, auto release>
using Owned = std::unique_ptr<T, Release<release>>;

}  // namespace ostdrv::sim

#endif
