#include "chip_access.hpp"

#include <stdexcept>

#include "core/board_state.hpp"
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

Bytes look_into_slot(unsigned slot) {
    AteccState chip = look_into_atecc();
    const auto bytes = chip.slot(slot);
    return {bytes.begin(), bytes.end()};
}

void change_atecc(const std::function<void(AteccState &)> &change) {
    const Unseen unseen;
    const StateLock lock;
    AteccState chip = sound(AteccState::load());
    change(chip);
    written(chip.save());
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
