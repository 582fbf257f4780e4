// A certificate put together again from its to-be-signed part (TBS) and its signature.
#ifndef OSTDRV_CERTIFICATES_REBUILT_CERTIFICATE_HPP
#define OSTDRV_CERTIFICATES_REBUILT_CERTIFICATE_HPP

#include "certificates/certificate.hpp"

namespace ostdrv {

// The TBS at the start of what is held, as long as its header says; empty when that is more than is held.
Bytes announced_tbs(Bytes held);

}  // namespace ostdrv

// 0, or 15 when the TBS announces more than is held or the certificate would be too long.
int atecc_v1_build_cert(ostdrv::Bytes held_tbs, const std::uint8_t *signature, ostdrv::Certificate *certificate);

#endif
