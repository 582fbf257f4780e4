// What a write to an ATECC slot asks before it touches the slot.
#ifndef OSTDRV_SECURE_ELEMENT_SLOT_LOCKS_HPP
#define OSTDRV_SECURE_ELEMENT_SLOT_LOCKS_HPP

#include <cstdint>

namespace ostdrv {

// 0 when the slot is open, 4 when it is locked, 2 when the chip does not say.
int require_unlocked_atecc(std::uint16_t slot);

}  // namespace ostdrv

#endif
