#include "state.hpp"

#include <algorithm>
#include <random>

#include "core/board_state.hpp"
#include "core/der.hpp"
#include "core/sealed_file.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::string_view tag = "ATECC-01";

std::string state_file() { return board_root() + "/atecc.state"; }

// Serial number, revision and interface bytes, then I2C address, modes and the settings of the slots: plausible for a
// part that nobody has configured, and of no use before it is.
constexpr std::array<std::uint8_t, 52> factory_config = {
    0x01, 0x23, 0x00, 0x00, 0x00, 0x00, 0x60, 0x02, 0x00, 0x00, 0x00, 0x00, 0xEE, 0x01, 0x01, 0x00, 0xC0, 0x00,
    0x00, 0x00, 0x83, 0x20, 0x87, 0x20, 0x8F, 0x20, 0xC4, 0x8F, 0x8F, 0x8F, 0x8F, 0x8F, 0x9F, 0x8F, 0x0F, 0x0F,
    0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0F, 0x0D, 0x1F, 0x0F, 0x0F};

constexpr std::array<std::uint8_t, 32> factory_key_config = {
    0x33, 0x00, 0x33, 0x00, 0x33, 0x00, 0x1C, 0x00, 0x1C, 0x00, 0x1C, 0x00, 0x1C, 0x00, 0x1C, 0x00,
    0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x3C, 0x00, 0x1C, 0x00};

}  // namespace

State State::blank(Model model) {
    State state;
    state.config.fill(0);
    state.otp.fill(0xFF);
    state.data.fill(0xFF);

    std::ranges::copy(factory_config, state.config.begin());
    std::random_device random;
    for (const std::size_t byte : {2u, 3u, 8u, 9u, 10u, 11u}) state.config[byte] = static_cast<std::uint8_t>(random());
    if (model == Model::atecc508a) {
        state.config[6] = 0x50;
        state.config[7] = 0x00;
        state.config[13] = 0xC0;
        state.config[18] = 0x55;
    }
    std::fill_n(state.config.begin() + 68, 16, std::uint8_t{0xFF});
    std::fill_n(state.config.begin() + 86, 2, std::uint8_t{0x55});  // data and configuration zone unlocked
    std::fill_n(state.config.begin() + 88, 2, std::uint8_t{0xFF});  // no slot locked
    std::ranges::copy(factory_key_config, state.config.begin() + 96);
    return state;
}

std::optional<State> State::load() {
    if (!path_exists(state_file())) {
        const bool old = BoardDescription::load().chip == "atecc508a";
        const State state = blank(old ? Model::atecc508a : Model::atecc608a);
        if (!state.save()) return std::nullopt;
        return state;
    }
    State state;
    const auto bytes = open_sealed(state_file(), tag);
    if (!bytes || bytes->size() != state.config.size() + state.otp.size() + state.data.size()) return std::nullopt;
    auto from = bytes->begin();
    for (std::span<std::uint8_t> zone : {std::span<std::uint8_t>(state.config), std::span<std::uint8_t>(state.otp),
                                         std::span<std::uint8_t>(state.data)}) {
        std::copy_n(from, zone.size(), zone.begin());
        from += static_cast<std::ptrdiff_t>(zone.size());
    }
    return state;
}

bool State::save() const {
    Bytes bytes(config.begin(), config.end());
    append(bytes, otp);
    append(bytes, data);
    return seal(state_file(), tag, bytes);
}

std::span<std::uint8_t> State::slot(unsigned number) & {
    std::size_t offset = 0;
    for (unsigned before = 0; before < number; ++before) offset += slot_size(before);
    return std::span<std::uint8_t>(data).subspan(offset, slot_size(number));
}

}  // namespace ostdrv::sim::atecc
