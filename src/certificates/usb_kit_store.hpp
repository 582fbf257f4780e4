// The copies of the certificates in the USB kit's EEPROM, under a small directory.
#ifndef OSTDRV_CERTIFICATES_USB_KIT_STORE_HPP
#define OSTDRV_CERTIFICATES_USB_KIT_STORE_HPP

#include <cstddef>
#include <cstdint>

// An address and a length count only behind their marker.
struct CertDirectory {
    std::uint8_t signer_marker;
    std::uint8_t device_marker;
    std::uint16_t signer_address;
    std::uint16_t signer_length;
    std::uint16_t device_address;
    std::uint16_t device_length;
};

// 0, or 2 when the EEPROM cannot be read.
int atecc_v0_read_cert_directory(CertDirectory *directory);

namespace ostdrv::usb_kit {

// Whether the chip is reached through the kit.
bool in_use();

// The file's name, not the caller, decides which entry a path stands for: 6 for one that stands for neither.
int store_copy(const char *path, const std::uint8_t *der, std::size_t length);

// *length: capacity, then the certificate's length. 2, 5, 6, or 11 when no such certificate is stored.
int load_copy(const char *path, std::uint8_t *der, std::size_t *length);

}  // namespace ostdrv::usb_kit

#endif
