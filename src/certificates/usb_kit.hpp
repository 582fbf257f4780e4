// The copies of the certificates in the USB kit's EEPROM, under a small directory.
#ifndef OSTDRV_CERTIFICATES_USB_KIT_HPP
#define OSTDRV_CERTIFICATES_USB_KIT_HPP

#include "certificates/certificate.hpp"

namespace ostdrv::usb_kit {

// Whether the chip is reached through the kit.
bool in_use();

// The file's name, not the caller, decides which entry a path stands for: 6 for one that stands for neither.
int store_copy(const char *path, Bytes certificate);

// 2, 5 when the copy does not fit, 6, or 11 when none of that kind is stored.
int load_copy(const char *path, Certificate *certificate);

}  // namespace ostdrv::usb_kit

#endif
