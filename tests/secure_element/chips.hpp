// Worlds with a secure element fitted and known: the marker file spares each test the probe.
#ifndef OSTDRV_TESTS_SECURE_ELEMENT_CHIPS_HPP
#define OSTDRV_TESTS_SECURE_ELEMENT_CHIPS_HPP

#include <string>
#include <vector>

#include "atecc/state.hpp"
#include "atecc/usb_kit.hpp"
#include "core/chip_access.hpp"
#include "trustx/session.hpp"
#include "world.hpp"

namespace ostdrv::test {

using AteccState = sim::atecc::State;
using TrustxState = sim::trustx::State;
using sim::change;
using sim::inspect;

// SHA-256, for tables that are right to the byte or not at all.
inline std::string hex_digest(const void *bytes, std::size_t size) {
    const sim::Digest digest = sim::sha256({static_cast<const std::uint8_t *>(bytes), size}).value();
    std::string hex;
    char digits[3];
    for (const std::uint8_t byte : digest) {
        std::snprintf(digits, sizeof digits, "%02x", byte);
        hex += digits;
    }
    return hex;
}

inline std::vector<std::uint8_t> pattern(std::size_t size, std::uint8_t first = 1) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(first + i);
    return bytes;
}

// A blank ATECC, started.
class Atecc : public World {
 protected:
    void SetUp() override { fit("atecc608a"); }
    void fit(const std::string &chip) {
        board.fit({.chip = chip});
        board.put("/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
    }
};

// An ATECC with its configuration and data zones locked.
class ProvisionedAtecc : public Atecc {
 protected:
    void SetUp() override {
        Atecc::SetUp();
        ASSERT_EQ(tpm_init_config(nullptr), 0);
    }
};

class Trustx : public World {
 protected:
    void SetUp() override {
        board.fit({.chip = "trustx"});
        board.put("/mnt/settings/trustx", "");
        ASSERT_EQ(tpm_slot_count(), 8);  // detection is over before calls are counted
    }
    void TearDown() override { EXPECT_EQ(sim::trustx::open_sessions(), 0); }
};

}  // namespace ostdrv::test

#endif
