// PEM: base64 between a header and a footer line, as RFC 7468 has it.
#ifndef OSTDRV_SIM_ATECC_PEM_HPP
#define OSTDRV_SIM_ATECC_PEM_HPP

#include <optional>
#include <string>
#include <string_view>

#include "core/crypto.hpp"

namespace ostdrv::sim::atecc {

// Lines of 64 characters, each line ended by CR LF.
std::string pem_encode(std::string_view label, ByteView der);

// The first object with that label. What stands before its header and after its footer is ignored; between them only
// base64 and blanks and line ends may stand.
std::optional<Bytes> pem_decode(std::string_view label, std::string_view text);

}  // namespace ostdrv::sim::atecc

#endif
