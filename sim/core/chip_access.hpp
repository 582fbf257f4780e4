// A hand inside the board's chips, past their rules and their locks: for tests and fuzz targets.
//
// What a chip keeps is a type with
//   static std::optional<State> load();  // nothing when its file is damaged; a blank chip when there is none
//   bool save() const;
// which both expect a StateLock to be held: atecc::State, atecc::UsbKit, trustx::State.
#ifndef OSTDRV_SIM_CHIP_ACCESS_HPP
#define OSTDRV_SIM_CHIP_ACCESS_HPP

#include <stdexcept>
#include <utility>

#include "board_state.hpp"
#include "fault_plan.hpp"

namespace ostdrv::sim {

template <typename State>
State load_sound() {
    auto state = State::load();
    if (!state) throw std::runtime_error("the state of a simulated chip is damaged");
    return *std::move(state);
}

template <typename State>
State inspect() {
    const Unseen unseen;
    const StateLock lock;
    return load_sound<State>();
}

template <typename State, typename Change>
void change(Change change_state) {
    const Unseen unseen;
    const StateLock lock;
    State state = load_sound<State>();
    change_state(state);
    if (!state.save()) throw std::runtime_error("the state of a simulated chip cannot be written");
}

}  // namespace ostdrv::sim

#endif
