#include "atecc/chip_access.hpp"
#include "certificates/authority.hpp"
#include "world.hpp"

#include <cryptoauthlib.h>

#include <algorithm>
#include <array>

namespace ostdrv::test {
namespace {

class AteccChip : public World {
 public:
    static ATCA_STATUS start(ATCAIfaceCfg cfg = tpm_iface_config_i2c) { return atcab_init(&cfg); }
    // A configuration: the library's own, with other settings for slot 1.
    static Bytes image(unsigned slot_config, unsigned key_config) {
        Bytes bytes(tpm_config_data, tpm_config_data + 128);
        for (const auto &[at, word] : {std::pair{22u, slot_config}, {98u, key_config}}) {
            bytes[at] = static_cast<std::uint8_t>(word);
            bytes[at + 1] = static_cast<std::uint8_t>(word >> 8);
        }
        return bytes;
    }

    std::array<std::uint8_t, 512> buffer{};
    std::uint8_t *const b = buffer.data();
};

TEST_F(AteccChip, AnswersOnlyWhereItIsFitted) {
    for (const sim::BoardDescription &elsewhere :
         {sim::BoardDescription{.chip = "trustx"}, {.i2c_bus = 1}, {.i2c_address = 0x35}, {.usb = true}}) {
        board.fit(elsewhere);
        EXPECT_EQ(start(), ATCA_COMM_FAIL);
        EXPECT_EQ(atcab_read_config_zone(b), ATCA_NOT_INITIALIZED);
    }
    EXPECT_EQ(start(tpm_iface_config_hid), ATCA_SUCCESS);
    EXPECT_NE(atcab_eeprom_write(500, 3597, b), 0);
    board.fit({});
    EXPECT_EQ(atcab_read_config_zone(b), ATCA_COMM_FAIL) << "the chip was taken out";
}

TEST_F(AteccChip, LocksComeInOrderAndNeverOpen) {
    ASSERT_EQ(start(), ATCA_SUCCESS);
    const auto before = sim::look_into_atecc().config;
    Bytes expected = image(0x0F0F, 0x001C);
    ASSERT_EQ(atcab_write_config_zone(Bytes(128, 0xA5).data()), ATCA_SUCCESS);
    ASSERT_EQ(atcab_write_config_zone(expected.data()), ATCA_SUCCESS);
    std::copy_n(before.begin(), 16, expected.begin());
    std::copy_n(before.begin() + 84, 6, expected.begin() + 84);
    EXPECT_TRUE(std::ranges::equal(sim::look_into_atecc().config, expected)) << "no serial number and no lock";
    for (const std::size_t offset : {0u, 12u, 84u, 88u}) EXPECT_NE(atcab_write_bytes_zone(0, 0, offset, b, 4), 0);

    EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_lock_data_slot(2), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
    EXPECT_EQ(atcab_lock_config_zone(), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_write_config_zone(b), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_write_bytes_zone(0, 0, 20, b, 4), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_lock_data_zone(), ATCA_SUCCESS);
    EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);

    EXPECT_EQ(atcab_lock_data_slot(1), ATCA_EXECUTION_ERROR) << "not lockable";
    for (const std::uint16_t slot : std::initializer_list<std::uint16_t>{0, 7, 8, 15}) {
        EXPECT_EQ(atcab_lock_data_slot(slot), ATCA_SUCCESS);
        EXPECT_EQ(atcab_lock_data_slot(slot), ATCA_EXECUTION_ERROR);
        EXPECT_EQ(atcab_write_bytes_zone(2, slot, 0, b, 4), ATCA_EXECUTION_ERROR);
    }
    EXPECT_EQ(atcab_genkey(0, b), ATCA_EXECUTION_ERROR) << "the slot is locked";
    EXPECT_EQ(sim::look_into_atecc().config[88] + sim::look_into_atecc().config[89], 2 * 0x7E);
}

TEST_F(AteccChip, TheConfigurationDecidesWhatASlotAllows) {
    const struct {
        const char *what;
        unsigned slot_config, key_config;
        // 'w' before, 'W' after the data zone is locked; then reading, key generation, public key, signing
        std::string allowed;
    } cases[] = {{"plain data", 0x0F0F, 0x003C, "wWr"}, {"never written", 0x8F0F, 0x003C, "wr"},
                 {"secret data", 0x0F8F, 0x003C, "wW"}, {"device key", 0x2F8F, 0x0033, "gps"},
                 {"fixed key", 0x0F8F, 0x0033, ""},     {"key without public half", 0x2F8F, 0x0031, "gs"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(sim::replace_atecc(sim::AteccModel::atecc608a));
        ASSERT_EQ(start(), ATCA_SUCCESS);
        ASSERT_EQ(atcab_write_config_zone(image(c.slot_config, c.key_config).data()), ATCA_SUCCESS);
        std::string allowed;
        const auto attempt = [&](char letter, ATCA_STATUS status) {
            if (status == ATCA_SUCCESS) allowed += letter;
        };
        const auto attempt_all = [&](char write) {
            attempt(write, atcab_write_bytes_zone(2, 1, 0, b, 36));
            if (write == 'w') return;
            attempt('r', atcab_read_bytes_zone(2, 1, 0, b, 36));
            attempt('g', atcab_genkey(1, b));
            attempt('p', atcab_get_pubkey(1, b));
            attempt('s', atcab_sign(1, b, b + 64));
        };
        attempt_all('?');
        EXPECT_EQ(allowed, "") << "before the configuration is locked";
        ASSERT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
        attempt_all('w');
        ASSERT_EQ(atcab_lock_data_zone(), ATCA_SUCCESS);
        attempt_all('W');
        EXPECT_EQ(allowed, c.allowed);
    }
}

TEST_F(AteccChip, TransfersStayInsideTheirZone) {
    ASSERT_EQ(start(), ATCA_SUCCESS);
    ASSERT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
    EXPECT_EQ(atcab_write_bytes_zone(2, 9, 68, b, 4), ATCA_SUCCESS);
    const auto before = sim::look_into_atecc();
    const std::pair<std::size_t, std::size_t> outside[] = {{72, 4}, {4, 72}, {2, 4}, {0, 6}, {SIZE_MAX - 3, 4}};
    for (const auto &[offset, length] : outside)
        EXPECT_EQ(atcab_write_bytes_zone(2, 9, offset, b, length), ATCA_BAD_PARAM) << offset;
    EXPECT_EQ(atcab_read_bytes_zone(2, 9, 1, b, 72), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_read_bytes_zone(2, 9, 4, b, SIZE_MAX - 2), ATCA_BAD_PARAM);
    EXPECT_EQ(sim::look_into_atecc(), before);
}

}  // namespace
}  // namespace ostdrv::test
