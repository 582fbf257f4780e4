// A Trust X session, from its opening to the end of the scope.
#ifndef OSTDRV_SUPPORT_TRUSTX_SESSION_HPP
#define OSTDRV_SUPPORT_TRUSTX_SESSION_HPP

#include <trustx.h>

namespace ostdrv {

class TrustxSession {
 public:
    TrustxSession() : open_(trustX_Open() == 0) {}
    ~TrustxSession() {
        if (open_) trustX_Close();
    }
    TrustxSession(const TrustxSession &) = delete;
    TrustxSession &operator=(const TrustxSession &) = delete;

    explicit operator bool() const { return open_; }

 private:
    bool open_;
};

}  // namespace ostdrv

#endif
