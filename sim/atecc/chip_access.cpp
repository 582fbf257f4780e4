#include "chip_access.hpp"

#include <algorithm>
#include <stdexcept>

#include "core/board_state.hpp"
#include "core/crypto.hpp"
#include "core/fault_plan.hpp"

namespace ostdrv::sim {
namespace {

template <typename State>
State sound(std::optional<State> state) {
    if (!state) throw std::runtime_error("the state of the simulated chip is damaged");
    return *std::move(state);
}

void written(bool done) {
    if (!done) throw std::runtime_error("the state of the simulated chip cannot be written");
}

}  // namespace

bool replace_atecc(AteccModel model) {
    const Unseen unseen;
    const StateLock lock;
    return AteccState::blank(model).save();
}

AteccState look_into_atecc() {
    const Unseen unseen;
    const StateLock lock;
    return sound(AteccState::load());
}

void change_atecc(const std::function<void(AteccState &)> &change) {
    const Unseen unseen;
    const StateLock lock;
    AteccState chip = sound(AteccState::load());
    change(chip);
    written(chip.save());
}

void place_private_key(AteccState &chip, unsigned slot, std::string_view pem) {
    const Unseen unseen;
    const auto key = p256_private_key_from_pem(pem);
    if (!key) throw std::invalid_argument("not a P-256 private key");
    const auto place = chip.slot(slot);
    std::fill(std::copy(key->begin(), key->end(), std::fill_n(place.begin(), 4, std::uint8_t{0})), place.end(),
              std::uint8_t{0});
}

UsbEeprom look_into_usb_eeprom() {
    const Unseen unseen;
    const StateLock lock;
    return sound(load_usb_eeprom());
}

void change_usb_eeprom(const std::function<void(UsbEeprom &)> &change) {
    const Unseen unseen;
    const StateLock lock;
    UsbEeprom eeprom = sound(load_usb_eeprom());
    change(eeprom);
    written(save_usb_eeprom(eeprom));
}

}  // namespace ostdrv::sim
