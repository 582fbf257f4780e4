// Certificates of a Trust X, exported and verified. The input is what its two objects hold: two bytes with the length
// of the signer's, big-endian, the signer's, the device's.
#include "chain.hpp"
#include "core/chip_access.hpp"
#include "trustx/session.hpp"
#include "trustx/state.hpp"

namespace ostdrv::fuzz {

using Chip = sim::trustx::State;

void fit(World &world) {
    world.board.fit({.chip = "trustx"});
    world.board.put("/mnt/settings/trustx", "");
}

void try_input(const World &world, ByteView input) {
    if (input.size() < 2) return;
    std::size_t length = static_cast<std::size_t>(input[0] << 8 | input[1]);
    input = input.subspan(2);
    sim::change<Chip>([&](Chip &chip) {
        for (const std::uint16_t id : {std::uint16_t{0xE0E2}, std::uint16_t{0xE0E1}}) {
            auto &object = chip.object(id);
            length = std::min({length, input.size(), object.capacity()});
            object.content.assign(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(length));
            input = input.subspan(length);
            length = input.size();
        }
    });
    verify_and_export(world);
    expect(sim::trustx::open_sessions() == 0, "no session stays open");
}

}  // namespace ostdrv::fuzz
