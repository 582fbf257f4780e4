// The EEPROM of the USB kit, in the file usb_kit.state of the board's directory.
#ifndef OSTDRV_SIM_ATECC_USB_EEPROM_HPP
#define OSTDRV_SIM_ATECC_USB_EEPROM_HPP

#include <array>
#include <cstdint>
#include <optional>

namespace ostdrv::sim {

using UsbEeprom = std::array<std::uint8_t, 4096>;

// Erased when there was none; nothing when its file is damaged. The caller holds a StateLock.
std::optional<UsbEeprom> load_usb_eeprom();
bool save_usb_eeprom(const UsbEeprom &eeprom);

}  // namespace ostdrv::sim

#endif
