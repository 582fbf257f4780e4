// The stand-ins of both chips refuse what the chips refuse.
#include <cryptoauthlib.h>
#include <trustx.h>

#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

using Bytes = sim::Bytes;

struct Chips : World {
    std::uint8_t bytes[512] = {};

    static int start(ATCAIfaceCfg cfg = tpm_iface_config_i2c) { return atcab_init(&cfg); }
    static int write(std::uint16_t object, std::uint8_t type, std::uint16_t offset, const Bytes &data) {
        return optiga_util_write_data(object, type, offset, data.data(), static_cast<std::uint16_t>(data.size()));
    }
    int read(std::uint16_t object) {
        std::uint16_t size = sizeof bytes;
        return optiga_util_read_data(object, 0, bytes, &size);
    }
    int generate(std::uint16_t length = 68) {
        auto object = static_cast<optiga_key_id_t>(0xE0F1);
        return optiga_crypt_ecc_generate_keypair(OPTIGA_ECC_NIST_P_256, 0x13, false, &object, bytes, &length);
    }
    int sign() {
        std::uint16_t capacity = 72;
        return optiga_crypt_ecdsa_sign(bytes, 32, OPTIGA_KEY_STORE_ID_E0F1, bytes + 32, &capacity);
    }
};

TEST_F(Chips, AnAteccAnswersOnlyWhereItIsFitted) {
    for (const sim::BoardDescription &elsewhere :
         {sim::BoardDescription{.chip = "trustx"}, {.i2c_bus = 1}, {.i2c_address = 0x35}, {.usb = true}}) {
        board.fit(elsewhere);
        EXPECT_EQ(start(), ATCA_COMM_FAIL);
    }
    EXPECT_EQ(start(tpm_iface_config_hid), ATCA_SUCCESS);
    EXPECT_NE(atcab_eeprom_write(500, 3597, bytes), 0);
    board.fit({});
    EXPECT_EQ(atcab_read_config_zone(bytes), ATCA_COMM_FAIL) << "the chip was taken out";
}

TEST_F(Chips, AnAteccsConfigurationDecidesWhatItsSlotAllows) {
    const struct {
        const char *what;
        std::uint8_t slot_config[2], key_config;
        // Writing before ('w') and after the data zone is locked; then reading, key generation, public key, signing,
        // locking; and, which must not be, locking and key generation once more.
        std::string allowed;
    } cases[] = {{"plain data", {0x0F, 0x0F}, 0x3C, "wWrl"},  {"never written", {0x0F, 0x8F}, 0x3C, "wrl"},
                 {"secret data", {0x8F, 0x0F}, 0x3C, "wWl"},  {"device key", {0x8F, 0x2F}, 0x33, "gpsl"},
                 {"fixed key", {0x8F, 0x0F}, 0x33, "l"},      {"no public half", {0x8F, 0x2F}, 0x31, "gsl"},
                 {"not lockable", {0x0F, 0x0F}, 0x1C, "wWr"}, {"nothing ever", {0x8F, 0x8F}, 0x1C, "w"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const auto fresh = AteccState::blank(sim::atecc::Model::atecc608a);
        change<AteccState>([&](AteccState &chip) { chip = fresh; });
        ASSERT_EQ(start(), ATCA_SUCCESS);
        Bytes image(tpm_config_data, tpm_config_data + 128);
        std::ranges::copy(c.slot_config, &image[22]);
        image[98] = c.key_config;
        ASSERT_EQ(atcab_write_config_zone(image.data()), ATCA_SUCCESS);
        std::copy_n(fresh.config.begin(), 16, image.begin());
        std::copy_n(&fresh.config[84], 6, &image[84]);
        EXPECT_TRUE(std::ranges::equal(inspect<AteccState>().config, image)) << "no serial number and no lock";
        std::string allowed;
        const auto attempt = [&](char letter, ATCA_STATUS status) {
            if (status == ATCA_SUCCESS) allowed += letter;
        };
        const auto attempt_all = [&](char letter) {
            attempt(letter, atcab_write_bytes_zone(2, 1, 0, bytes, 36));
            if (letter == 'w') return;
            attempt('r', atcab_read_bytes_zone(2, 1, 0, bytes, 36));
            attempt('g', atcab_genkey(1, bytes));
            attempt('p', atcab_get_pubkey(1, bytes));
            attempt('s', atcab_sign(1, bytes, bytes + 64));
            attempt('l', atcab_lock_data_slot(1));
            attempt('L', atcab_lock_data_slot(1));
            attempt('G', atcab_genkey(1, bytes));
        };
        attempt_all('?');
        EXPECT_EQ(allowed, "") << "before the configuration is locked";
        EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);
        ASSERT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
        EXPECT_EQ(atcab_lock_config_zone(), ATCA_EXECUTION_ERROR);
        EXPECT_EQ(atcab_write_config_zone(image.data()), ATCA_EXECUTION_ERROR);
        attempt_all('w');
        ASSERT_EQ(atcab_lock_data_zone(), ATCA_SUCCESS);
        EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);
        attempt_all('W');
        EXPECT_EQ(allowed, c.allowed);
    }
    const std::pair<std::size_t, std::size_t> outside[] = {{72, 4}, {4, 72}, {2, 4}, {0, 6}, {SIZE_MAX - 3, 4}};
    for (const auto &[offset, length] : outside)
        EXPECT_EQ(atcab_write_bytes_zone(2, 9, offset, bytes, length), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_read_bytes_zone(2, 9, 4, bytes, SIZE_MAX - 2), ATCA_BAD_PARAM);
}

TEST_F(Chips, ATrustXKeepsWhatFitsAndOnlyWithinASession) {
    char *text = nullptr;
    const auto refuses_everything = [&] {
        return write(0xE0E1, 0x40, 0, {'a'}) && read(0xE0E1) && generate() && sign() && trustX_lockSlot(0xE0E1) &&
               trustX_lockStatus(0xE0E1, &text, &text, &text) && trustX_Close();
    };
    board.fit({.chip = "atecc608a"});
    EXPECT_NE(trustX_Open(), 0);
    board.fit({.chip = "trustx"});
    EXPECT_TRUE(refuses_everything());
    EXPECT_EQ(trustX_Open() + trustX_Open() + trustX_Close(), 0) << "sessions are counted";
    for (const std::uint16_t object : std::initializer_list<std::uint16_t>{0xE0E4, 0xE0F1, 0xF1E0})
        EXPECT_TRUE(write(object, 0x40, 0, {'a'}) && read(object));
    EXPECT_TRUE(sign() != 0 && generate(67) != 0) << "no key yet, no room for one";
    EXPECT_EQ(generate() + trustX_lockSlot(0xE0F1) + sign(), 0) << "a locked key works";
    EXPECT_TRUE(generate() != 0 && trustX_lockSlot(0xE0F1) != 0);
    EXPECT_EQ(trustX_Close(), 0);
    EXPECT_TRUE(refuses_everything());
}

TEST_F(Chips, DamagedStatesAreRefusedAndNeverReplaced) {
    Bytes page(300, 'c');
    const struct {
        const char *file;
        sim::BoardDescription fitted;
        std::function<int()> write;
    } cases[] = {{"trustx.state", {.chip = "trustx"}, [&] { return write(0xE0E1, 0x40, 0, page); }},
                 {"atecc.state", {.usb = true}, [&] { return int(atcab_write_bytes_zone(0, 0, 20, page.data(), 4)); }},
                 {"usb_kit.state", {.usb = true}, [&] { return atcab_eeprom_write(300, 0, page.data()); }}};
    for (const auto &c : cases) {
        board.fit(c.fitted);
        c.fitted.usb ? start(tpm_iface_config_hid) : trustX_Open();
        ASSERT_EQ(c.write(), 0);
        const Bytes whole = sim::read_file(board.root() + "/" + c.file).value();
        page[0] = 'd';
        const auto refused = [&](const Bytes &state) {
            sim::replace_file(board.root() + "/" + c.file, state);
            return c.write() != 0 && sim::read_file(board.root() + "/" + c.file) == state;
        };
        for (std::size_t at = 0; at < whole.size(); at += 41) {
            Bytes damaged = whole;
            damaged[at] ^= 0x10;
            EXPECT_TRUE(refused(damaged) && refused(Bytes(whole.begin(), whole.begin() + long(at)))) << c.file << at;
        }
        EXPECT_FALSE(refused(whole));
    }
}

}  // namespace
}  // namespace ostdrv::test
