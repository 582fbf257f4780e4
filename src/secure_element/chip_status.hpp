// The one status that callers get for whatever goes wrong in a chip or its library.
#ifndef OSTDRV_SECURE_ELEMENT_CHIP_STATUS_HPP
#define OSTDRV_SECURE_ELEMENT_CHIP_STATUS_HPP

#include "ostdrv.h"

namespace ostdrv {

// Each maker numbers failures in its own way, so the code itself would tell a caller nothing without the chip's name.
inline int chip_status(int result) { return result == 0 ? TPM_OK : TPM_ERR_CHIP; }

}  // namespace ostdrv

#endif
