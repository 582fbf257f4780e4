// The record that holds the serial number and the certificate layout version.
#ifndef OSTDRV_CERTIFICATES_SERIAL_RECORD_HPP
#define OSTDRV_CERTIFICATES_SERIAL_RECORD_HPP

namespace ostdrv {

// A chip type that cannot be told is treated as an ATECC.
bool fitted_chip_is_trustx();

}  // namespace ostdrv

#endif
