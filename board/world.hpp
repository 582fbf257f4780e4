// What the virtual board's devices and chips are made of: the last megabyte of its memory, which is a file of the host.
// Registers of its own devices the kernel's drivers read and write as they stand; the chips behind the I2C bus are
// played from it by the bridge. Both sides see it at once, and it outlives a board whose power is cut.
#ifndef OSTDRV_BOARD_WORLD_HPP
#define OSTDRV_BOARD_WORLD_HPP

#include <cstddef>
#include <cstdint>

namespace ostdrv::board {

using Register = volatile std::uint32_t;

// fsl,imx35-gpio: 32 lines, with the numbers 0 to 31.
struct alignas(4096) Gpio {
    Register data, direction, pads, condition[2], interrupt_mask, interrupt_status, both_edges;

    bool is_output(int line) const { return direction >> line & 1; }
    bool level(int line) const { return (is_output(line) ? data : pads) >> line & 1; }
    // A level from outside. True when the line waits for this edge: its interrupt is to be raised then.
    bool drive(int line, bool high) {
        const std::uint32_t bit = std::uint32_t{1} << line, before = pads;
        pads = high ? before | bit : before & ~bit;
        const std::uint32_t waits_for = condition[line / 16] >> line % 16 * 2 & 3, rising = 2, falling = 3;
        if (before == pads || !(interrupt_mask & bit)) return false;
        if (!(both_edges & bit) && waits_for != (high ? rising : falling)) return false;
        interrupt_status = bit;
        return true;
    }
};

// brcm,bcm2835-pwm, with a period of 255 ticks, so that a brightness is a number of ticks.
struct alignas(4096) Pwm {
    Register control, reserved[3];
    struct {
        Register period, duty, reserved[2];
    } channel[2];

    unsigned brightness(int of) const { return control >> 8 * of & 1 ? channel[of].duty : 0; }
};

// brcm,bcm2835-thermal, with the coefficients of the device tree.
struct alignas(4096) Thermometer {
    Register control, status;
    static constexpr std::uint32_t out_of_reset = 2, valid = 1 << 10, largest = 1023;
    static constexpr double celsius_per_count = 0.1;
    static constexpr double celsius(std::uint32_t count) { return count * celsius_per_count - 20; }
};

struct alignas(4096) Chips {
    volatile std::uint16_t samples[12];  // what the ADC converts, 12 bits each
    Register eeprom_protected;
    Register bytes_to_power_cut;  // the EEPROM takes so many bytes more; 0: no power cut is planned
    Register power_was_cut;
};

struct World {
    Gpio gpio;
    Pwm pwm[2];
    Thermometer thermometer;
    Chips chips;
    alignas(4096) volatile std::uint8_t eeprom[4096];
};

constexpr std::size_t world_size = 1 << 20;
constexpr std::uint64_t world_address = 0x50000000;  // also in board.dts
static_assert(sizeof(World) <= world_size);

// The lines' common interrupt: setting this bit of the interrupt controller's raises it, a second register says whether
// it is being handled.
constexpr std::uint64_t pending_address = 0x08000210, active_address = 0x08000310;
constexpr std::uint32_t interrupt_bit = 1 << 4;

}  // namespace ostdrv::board

#endif
