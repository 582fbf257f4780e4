// A chip's state file: a tag that names the chip and the format, the state, and the SHA-256 of both, so that a damaged
// file is noticed before any of it is used.
#ifndef OSTDRV_SIM_SEALED_FILE_HPP
#define OSTDRV_SIM_SEALED_FILE_HPP

#include <optional>
#include <string>
#include <string_view>

#include "crypto.hpp"

namespace ostdrv::sim {

// The state in the file; nothing when it is absent, damaged or has another tag.
std::optional<Bytes> open_sealed(const std::string &path, std::string_view tag);

// Replaces the file as a whole.
bool seal(const std::string &path, std::string_view tag, ByteView state);

}  // namespace ostdrv::sim

#endif
