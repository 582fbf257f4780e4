// Locks of slots, as other files of the library need them.
#ifndef OSTDRV_SECURE_ELEMENT_SLOT_LOCKS_HPP
#define OSTDRV_SECURE_ELEMENT_SLOT_LOCKS_HPP

#include <cstdint>

namespace ostdrv {

// What a write to an ATECC slot asks before it touches the slot: 0 when the slot is open, 4 when it is locked, 2 when
// the chip does not say.
int require_unlocked_atecc(std::uint16_t slot);

// Locks the slots from first to last and then one more, up to the first failure.
int lock_slots(std::uint16_t first, std::uint16_t last, std::uint16_t then);

}  // namespace ostdrv

#endif
