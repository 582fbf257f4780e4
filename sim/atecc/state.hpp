// What an ATECC keeps: its zones, in the file atecc.state of the board's directory.
#ifndef OSTDRV_SIM_ATECC_STATE_HPP
#define OSTDRV_SIM_ATECC_STATE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "core/crypto.hpp"

namespace ostdrv::sim::atecc {

enum class Model { atecc508a, atecc608a };

inline constexpr unsigned slot_count = 16;
constexpr std::size_t slot_size(unsigned slot) { return slot < 8 ? 36 : slot == 8 ? 416 : 72; }

struct State {
    std::array<std::uint8_t, 128> config;
    std::array<std::uint8_t, 64> otp;
    std::array<std::uint8_t, 8 * 36 + 416 + 7 * 72> data;  // the slots, one after the other

    // As it comes from the factory: a serial number of its own, nothing locked, all else 0xFF.
    static State blank(Model model);

    // The board's chip, a blank one of the model fitted when there was none; nothing when its file is damaged. The
    // caller holds a StateLock.
    static std::optional<State> load();
    bool save() const;

    std::span<std::uint8_t> slot(unsigned number) &;
    std::span<const std::uint8_t> slot(unsigned number) const & { return const_cast<State *>(this)->slot(number); }
    std::span<std::uint8_t> slot(unsigned number) && = delete;
    Bytes content(unsigned number) const { return {slot(number).begin(), slot(number).end()}; }
    // As if the chip had generated it there.
    void put_private_key(unsigned number, const PrivateKey &key);

    bool operator==(const State &) const = default;
};

}  // namespace ostdrv::sim::atecc

#endif
