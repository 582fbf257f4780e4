// What an ATECC keeps: its zones, in the file atecc.state of the board's directory.
#ifndef OSTDRV_SIM_ATECC_STATE_HPP
#define OSTDRV_SIM_ATECC_STATE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace ostdrv::sim {

enum class AteccModel { atecc508a, atecc608a };

inline constexpr unsigned atecc_slots = 16;
constexpr std::size_t atecc_slot_size(unsigned slot) { return slot < 8 ? 36 : slot == 8 ? 416 : 72; }

struct AteccState {
    std::array<std::uint8_t, 128> config;
    std::array<std::uint8_t, 64> otp;
    std::array<std::uint8_t, 8 * 36 + 416 + 7 * 72> data;  // the slots, one after the other

    // As it comes from the factory: a serial number of its own, nothing locked, all else 0xFF.
    static AteccState blank(AteccModel model);

    // The board's chip, a blank one of the model fitted when there was none; nothing when its file is damaged. The
    // caller holds a StateLock.
    static std::optional<AteccState> load();
    bool save() const;

    std::span<std::uint8_t> slot(unsigned number) &;
    std::span<const std::uint8_t> slot(unsigned number) const & { return const_cast<AteccState *>(this)->slot(number); }
    std::span<std::uint8_t> slot(unsigned number) && = delete;

    bool operator==(const AteccState &) const = default;
};

}  // namespace ostdrv::sim

#endif
