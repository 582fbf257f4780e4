// A Trust X session, from its opening to the end of the scope.
#ifndef OSTDRV_SUPPORT_TRUSTX_SESSION_HPP
#define OSTDRV_SUPPORT_TRUSTX_SESSION_HPP

#include <trustx.h>

#include "support/owned.hpp"

namespace ostdrv {

struct TrustxSession : Owned<bool, trustX_Close> {
    TrustxSession() : Owned(trustX_Open() == 0) {}
};

}  // namespace ostdrv

#endif
