// What the USB kit keeps besides its chip: an EEPROM, in the file usb_kit.state of the board's directory.
#ifndef OSTDRV_SIM_ATECC_USB_KIT_HPP
#define OSTDRV_SIM_ATECC_USB_KIT_HPP

#include <array>
#include <cstdint>
#include <optional>

namespace ostdrv::sim::atecc {

struct UsbKit {
    std::array<std::uint8_t, 4096> eeprom;

    // Erased when there was none; nothing when its file is damaged. The caller holds a StateLock.
    static std::optional<UsbKit> load();
    bool save() const;

    bool operator==(const UsbKit &) const = default;
};

}  // namespace ostdrv::sim::atecc

#endif
