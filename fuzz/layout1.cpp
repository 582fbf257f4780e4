// Certificates of layout 1, rebuilt and verified from an ATECC's slots. The input is what slots 8 to 15 hold.
#include "atecc/state.hpp"
#include "chain.hpp"
#include "core/chip_access.hpp"

namespace ostdrv::fuzz {

using Chip = sim::atecc::State;

void fit(World &world) {
    std::uint8_t key[64];
    world.board.fit({.chip = "atecc608a"});
    world.board.put("/mnt/settings/atecc", "");
    expect(tpm_init_device() == 0 && tpm_init_config(nullptr) == 0 && tpm_genkey(key, sizeof key) == 0 &&
               tpm_cert_set_serial_number(key, 17) == 0,
           "the chip can be set up for layout 1");
}

void try_input(const World &world, ByteView input) {
    sim::change<Chip>([&](Chip &chip) {
        const std::span<std::uint8_t> slots{chip.slot(8).data(), chip.slot(15).data() + 72};
        std::ranges::fill(slots, std::uint8_t{0xFF});
        std::copy_n(input.begin(), std::min(input.size(), slots.size()), slots.begin());
    });
    expect(!verify_and_export(world), "nobody has a certificate for this chip's key");
}

}  // namespace ostdrv::fuzz
