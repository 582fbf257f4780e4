// A hand inside the simulated ATECC, past its rules: for tests, and for the launcher that fits a chip.
#ifndef OSTDRV_SIM_ATECC_CHIP_ACCESS_HPP
#define OSTDRV_SIM_ATECC_CHIP_ACCESS_HPP

#include <functional>

#include "core/crypto.hpp"
#include "state.hpp"
#include "usb_eeprom.hpp"

namespace ostdrv::sim {

// Puts a new blank chip of the model in the place of the board's chip. False when it cannot be written.
bool replace_atecc(AteccModel model);

// The board's chip as it is; one is made when there is none. Throws when its file is damaged.
AteccState look_into_atecc();
Bytes look_into_slot(unsigned slot);

// Changes the board's chip, locks and private keys included. Throws as above.
void change_atecc(const std::function<void(AteccState &)> &change);

// Places a P-256 key in a private-key slot, as if the chip had generated it.
void place_private_key(AteccState &chip, unsigned slot, const PrivateKey &key);

// The same for the USB kit's EEPROM.
UsbEeprom look_into_usb_eeprom();
void change_usb_eeprom(const std::function<void(UsbEeprom &)> &change);

}  // namespace ostdrv::sim

#endif
