#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

TEST_F(ProvisionedAtecc, ReadsDeliverAtMostTheSlotAndTheCapacity) {
    const struct {
        unsigned slot;
        size_t capacity, delivered;
        const char *chip_read;
    } cases[] = {{8, 1024, 416, "atcab_read_bytes_zone(2, 8, 0, 416)"},
                 {9, 10, 10, "atcab_read_bytes_zone(2, 9, 0, 72)"},
                 {1, 36, 36, "atcab_read_bytes_zone(2, 1, 0, 36)"},
                 {0x10009, 72, 72, "atcab_read_bytes_zone(2, 9, 0, 72)"}};
    for (const auto &c : cases) {
        ASSERT_EQ(tpm_write_slot(c.slot, pattern(416).data(), 416), 0);
        std::vector<uint8_t> data(1025, 0xEE);
        size_t len = c.capacity;
        const Calls calls = calls_of([&] { EXPECT_EQ(tpm_read_slot(c.slot, data.data(), &len), 0); });
        EXPECT_EQ(calls.back(), c.chip_read);
        EXPECT_EQ(len, c.delivered);
        EXPECT_TRUE(std::equal(data.begin(), data.begin() + static_cast<long>(len), pattern(416).begin()));
        EXPECT_EQ(data[len], 0xEE) << "nothing beyond what was delivered";
    }
}

TEST_F(ProvisionedAtecc, SlotZeroReadsAsThePublicKey) {
    uint8_t key[64], data[101] = {};
    ASSERT_EQ(tpm_genkey(key, 64), 0);
    size_t len = 63;
    EXPECT_EQ(tpm_read_slot(0, data, &len), 5);
    EXPECT_EQ(len, 63u);
    len = 100;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_read_slot(0, data, &len), 0); }),
              (Calls{"atcab_get_zone_size(2, 0)", "atcab_get_pubkey(0)"}));
    EXPECT_EQ(len, 64u);
    EXPECT_TRUE(std::equal(key, key + 64, data));
}

TEST_F(ProvisionedAtecc, WritesAreWholeWordsCutToTheSlot) {
    const struct { size_t len, written; } cases[] = {{10, 12}, {12, 12}, {1, 4}, {5000, 72}};
    for (const auto &c : cases) {
        change<AteccState>([](AteccState &chip) { std::ranges::fill(chip.slot(9), uint8_t{0xAA}); });
        const auto data = pattern(c.len);
        EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_write_slot(9, data.data(), data.size()), 0); }),
                  (Calls{"atcab_is_slot_locked(9)", "atcab_get_zone_size(2, 9)",
                         "atcab_write_bytes_zone(2, 9, 0, " + std::to_string(c.written) + ")"}));
        std::vector<uint8_t> expected(72, 0xAA);
        std::fill_n(expected.begin(), c.written, uint8_t{0});
        std::copy_n(data.begin(), std::min<size_t>(c.len, 72), expected.begin());
        EXPECT_TRUE(std::ranges::equal(inspect<AteccState>().content(9), expected)) << c.len;
    }
}

// Of a slot whose lock is asked for by these calls.
void expect_lock_for_good(std::uint16_t slot, const Calls &asked) {
    std::uint8_t locked = 9;
    for (const std::uint8_t expected : {std::uint8_t{0}, std::uint8_t{1}}) {
        EXPECT_EQ(tpm_is_slot_locked(slot, &locked), 0);
        EXPECT_EQ(locked, expected);
        EXPECT_EQ(tpm_lock_slot(slot), 0);
    }
    EXPECT_EQ(World::calls_of([&] { EXPECT_EQ(tpm_lock_slot(slot), 0); }), asked);
    EXPECT_EQ(World::calls_of([&] { EXPECT_EQ(tpm_write_slot(slot, pattern(72).data(), 72), 4); }), asked);
}

TEST_F(ProvisionedAtecc, LocksAreForGoodAndRefuseWrites) {
    expect_lock_for_good(9, {"atcab_is_slot_locked(9)"});
    EXPECT_EQ(tpm_write_public_key_atecc(9, pattern(64).data()), 4);
}

TEST_F(Trustx, TransfersAreOneSessionOfPieces) {
    const auto data = pattern(2000);
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_write_slot(0xE0E1, data.data(), 600), 0); }),
              (Calls{"trustX_Open()", "trustX_lockStatus(0xe0e1)", "trustX_Close()", "trustX_Open()",
                     "optiga_util_write_data(0xe0e1, 0x40, 0, 256)", "optiga_util_write_data(0xe0e1, 0x00, 256, 256)",
                     "optiga_util_write_data(0xe0e1, 0x00, 512, 88)", "trustX_Close()"}));
    std::vector<uint8_t> back(5000);
    for (const size_t written : {600u, 2000u}) {
        const auto writes = calls_of([&] { EXPECT_EQ(tpm_write_slot(0xE0E1, data.data(), written), 0); });
        EXPECT_EQ(writes.size(), written == 600 ? 8u : 9u) << "no piece is empty";
        size_t len = back.size();
        EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_read_slot(0xE0E1, back.data(), &len), 0); }),
                  (Calls{"trustX_Open()", "optiga_util_read_data(0xe0e1, 0, 1024)", "trustX_Close()"}));
        EXPECT_EQ(len, std::min<size_t>(written, 1024));
        EXPECT_TRUE(std::equal(data.begin(), data.begin() + long(len), back.begin()));
    }
    size_t len = 7;
    back[7] = 0xEE;
    EXPECT_EQ(tpm_read_slot(0xE0E1, back.data(), &len), 0);
    EXPECT_EQ(len, 7u);
    EXPECT_EQ(back[7], 0xEE);
}

TEST_F(Trustx, LocksAreForGoodAndZonesAreNotAsked) {
    std::uint8_t config = 9, data = 9;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_is_config_locked(&config) + tpm_is_data_locked(&data), 0); }), Calls{});
    EXPECT_EQ(config, 1);
    EXPECT_EQ(data, 0);
    expect_lock_for_good(0xE0E1, {"trustX_Open()", "trustX_lockStatus(0xe0e1)", "trustX_Close()"});
}

}  // namespace
}  // namespace ostdrv::test
