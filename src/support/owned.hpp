// Owner of something that has to be given back: memory, a stream, a session.
#ifndef OSTDRV_SUPPORT_OWNED_HPP
#define OSTDRV_SUPPORT_OWNED_HPP

#include <type_traits>
#include <utility>

namespace ostdrv {

// Calls `give_back` once, with the handle if it takes one, unless the handle is `none`.
template <typename Handle, auto give_back, Handle none = Handle{}>
class Owned {
 public:
    explicit Owned(Handle handle = none) : handle_(handle) {}
    ~Owned() { reset(); }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;

    explicit operator bool() const { return handle_ != none; }
    Handle get() const { return handle_; }
    // Hands over what is owned: whoever takes it gives it back.
    Handle release() { return std::exchange(handle_, none); }
    void reset(Handle handle = none) {
        const Handle old = std::exchange(handle_, handle);
        if (old == none) return;
        if constexpr (std::is_invocable_v<decltype(give_back), Handle>)
            give_back(old);
        else
            give_back();
    }

 private:
    Handle handle_;
};

}  // namespace ostdrv

#endif
