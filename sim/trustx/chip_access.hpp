// A simulated Trust X as its owner sees it: past sessions, locks and access conditions. Works on the process's board.
#ifndef OSTDRV_SIM_TRUSTX_CHIP_ACCESS_HPP
#define OSTDRV_SIM_TRUSTX_CHIP_ACCESS_HPP

#include <cstdint>
#include <optional>

#include "core/crypto.hpp"

namespace ostdrv::sim::trustx {

// Sessions that this process has opened and not closed.
int open_sessions();

// The used bytes of a certificate or data object.
std::optional<Bytes> peek(std::uint16_t object_id);
// Replaces them; the object keeps its lock.
bool poke(std::uint16_t object_id, ByteView bytes);

std::optional<bool> is_locked(std::uint16_t object_id);
bool set_locked(std::uint16_t object_id, bool locked);

// The public half of the key in a key object.
std::optional<PublicKey> public_key(std::uint16_t object_id);

}  // namespace ostdrv::sim::trustx

#endif
