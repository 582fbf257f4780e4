#include "atecc/chip_access.hpp"
#include "certificates/authority.hpp"
#include "world.hpp"

#include <cryptoauthlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>

namespace ostdrv::test {
namespace {

using Calls = std::vector<std::string>;

ATCAIfaceCfg on_i2c(std::uint8_t bus = 2, unsigned address = 0x60) {
    ATCAIfaceCfg cfg = tpm_iface_config_i2c;
    cfg.devtype = ATECC608A;
    cfg.atcai2c.bus = bus;
    cfg.atcai2c.slave_address = static_cast<std::uint8_t>(address << 1);
    return cfg;
}
ATCAIfaceCfg on_usb() { return tpm_iface_config_hid; }

class AteccChip : public World {
 public:
    static ATCA_STATUS start(ATCAIfaceCfg cfg = on_i2c()) { return atcab_init(&cfg); }
    // A configuration: the library's own, with other settings for one slot.
    static Bytes image(unsigned slot = 0, unsigned slot_config = 0x2F8F, unsigned key_config = 0x0033) {
        Bytes bytes(tpm_config_data, tpm_config_data + 128);
        const auto put_word = [&](std::size_t at, unsigned word) {
            bytes[at] = static_cast<std::uint8_t>(word);
            bytes[at + 1] = static_cast<std::uint8_t>(word >> 8);
        };
        put_word(20 + 2 * slot, slot_config);
        put_word(96 + 2 * slot, key_config);
        return bytes;
    }
    static void provision(const Bytes &configuration = image()) {
        ASSERT_EQ(start(), ATCA_SUCCESS);
        ASSERT_EQ(atcab_write_config_zone(configuration.data()), ATCA_SUCCESS);
        ASSERT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
        ASSERT_EQ(atcab_lock_data_zone(), ATCA_SUCCESS);
    }
    static Bytes config() {
        const auto bytes = sim::look_into_atecc().config;
        return {bytes.begin(), bytes.end()};
    }
    static bool slot_locked(std::uint16_t slot) {
        bool locked = false;
        EXPECT_EQ(atcab_is_slot_locked(slot, &locked), ATCA_SUCCESS);
        return locked;
    }

    std::array<std::uint8_t, 512> buffer{};
    std::uint8_t *const b = buffer.data();
};

TEST_F(AteccChip, AnswersOnlyWhereItIsFitted) {
    const struct {
        sim::BoardDescription board;
        ATCAIfaceCfg cfg;
        ATCA_STATUS status;
    } cases[] = {{{}, on_i2c(), ATCA_SUCCESS},
                 {{.chip = "atecc508a"}, on_i2c(), ATCA_SUCCESS},
                 {{.chip = "trustx"}, on_i2c(), ATCA_COMM_FAIL},
                 {{.chip = "none"}, on_i2c(), ATCA_COMM_FAIL},
                 {{}, on_i2c(1), ATCA_COMM_FAIL},
                 {{}, on_i2c(2, 0x35), ATCA_COMM_FAIL},
                 {{.i2c_bus = 1, .i2c_address = 0x35}, on_i2c(1, 0x35), ATCA_SUCCESS},
                 {{}, on_usb(), ATCA_COMM_FAIL},
                 {{.usb = true}, on_usb(), ATCA_SUCCESS},
                 {{.usb = true}, on_i2c(), ATCA_COMM_FAIL}};
    for (const auto &c : cases) {
        board.fit(c.board);
        EXPECT_EQ(start(c.cfg), c.status) << c.board.chip << " on " << (c.board.usb ? "usb" : "i2c");
        EXPECT_EQ(atcab_read_config_zone(b), c.status ? ATCA_NOT_INITIALIZED : ATCA_SUCCESS);
        EXPECT_EQ(atcab_get_device_type(), c.status ? ATCA_DEV_UNKNOWN : c.cfg.devtype);
    }
    board.fit({});
    EXPECT_EQ(start(), ATCA_SUCCESS);
    board.fit({.chip = "none"});
    EXPECT_EQ(atcab_read_config_zone(b), ATCA_COMM_FAIL) << "the chip was taken out";
    EXPECT_EQ(atcab_init(nullptr), ATCA_BAD_PARAM);
}

TEST_F(AteccChip, EveryCallIsLoggedFailsOnDemandAndNeedsASession) {
    bool flag = true;
    std::size_t size = 0;
    const struct {
        const char *log;
        std::function<int()> call;
    } cases[] = {
        {"atcab_read_config_zone()", [&] { return atcab_read_config_zone(b); }},
        {"atcab_write_config_zone()", [&] { return atcab_write_config_zone(b); }},
        {"atcab_lock_config_zone()", [] { return atcab_lock_config_zone(); }},
        {"atcab_lock_data_zone()", [] { return atcab_lock_data_zone(); }},
        {"atcab_lock_data_slot(3)", [] { return atcab_lock_data_slot(3); }},
        {"atcab_is_locked(1)", [&] { return atcab_is_locked(1, &flag); }},
        {"atcab_is_slot_locked(7)", [&] { return atcab_is_slot_locked(7, &flag); }},
        {"atcab_get_zone_size(2, 8)", [&] { return atcab_get_zone_size(2, 8, &size); }},
        {"atcab_read_bytes_zone(2, 8, 4, 12)", [&] { return atcab_read_bytes_zone(2, 8, 4, b, 12); }},
        {"atcab_write_bytes_zone(2, 8, 4, 12)", [&] { return atcab_write_bytes_zone(2, 8, 4, b, 12); }},
        {"atcab_get_pubkey(0)", [&] { return atcab_get_pubkey(0, b); }},
        {"atcab_genkey(0)", [&] { return atcab_genkey(0, b); }},
        {"atcab_read_pubkey(11)", [&] { return atcab_read_pubkey(11, b); }},
        {"atcab_write_pubkey(11)", [&] { return atcab_write_pubkey(11, b); }},
        {"atcab_sign(0)", [&] { return atcab_sign(0, b, b + 64); }},
        {"atcab_verify_extern()", [&] { return atcab_verify_extern(b, b, b, &flag); }},
        {"atcab_eeprom_read(10, 32)", [&] { return atcab_eeprom_read(10, 32, b); }},
        {"atcab_eeprom_write(10, 32)", [&] { return atcab_eeprom_write(10, 32, b); }},
    };
    for (const auto &c : cases) {
        int status = 0;
        EXPECT_EQ(calls_of([&] { status = c.call(); }), Calls{c.log});
        EXPECT_EQ(status, ATCA_NOT_INITIALIZED) << c.log;
        EXPECT_EQ(with_fault({.has_result = true, .result = 42}, c.call), 42) << c.log;
    }
    EXPECT_FALSE(std::filesystem::exists(board.root() / "atecc.state"));
    EXPECT_EQ(buffer, decltype(buffer){});
    EXPECT_TRUE(flag);

    EXPECT_EQ(calls_of([] { start(); }), Calls{"atcab_init(i2c, 2)"});
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(atcac_sw_sha2_256(b, 3, b), 0); }), Calls{"atcac_sw_sha2_256(3)"});
    EXPECT_EQ(calls_of([] { atcab_get_device_type(); }), Calls{"atcab_get_device_type()"});
}

TEST_F(AteccChip, ABlankChipSaysWhatItIs) {
    const struct {
        const char *chip;
        Bytes revision;
        bool old;
    } cases[] = {
        {"any", {0, 0, 0x60, 2}, false}, {"atecc608a", {0, 0, 0x60, 2}, false}, {"atecc508a", {0, 0, 0x50, 0}, true}};
    Bytes last(128, 0);
    for (const auto &c : cases) {
        board.fit({.chip = c.chip});
        std::filesystem::remove(board.root() / "atecc.state");
        ASSERT_EQ(start(), ATCA_SUCCESS);
        Bytes zone(128);
        ASSERT_EQ(atcab_read_config_zone(zone.data()), ATCA_SUCCESS);
        EXPECT_EQ((Bytes{zone[0], zone[1], zone[12]}), (Bytes{0x01, 0x23, 0xEE}));
        EXPECT_EQ(Bytes(zone.begin() + 4, zone.begin() + 8), c.revision);
        EXPECT_EQ(zone[13] == 0xC0, c.old);
        EXPECT_EQ((Bytes{zone[14], zone[16], zone[86], zone[87], zone[88], zone[89]}),
                  (Bytes{1, 0xC0, 0x55, 0x55, 0xFF, 0xFF}));
        EXPECT_NE(Bytes(zone.begin(), zone.begin() + 13), Bytes(last.begin(), last.begin() + 13)) << "serial number";
        last = zone;
    }
}

TEST_F(AteccChip, TheConfigurationTakesOnlyWhatMayBeWritten) {
    ASSERT_EQ(start(), ATCA_SUCCESS);
    const Bytes before = config();
    Bytes written(128, 0xA5), expected = written;
    ASSERT_EQ(atcab_write_config_zone(written.data()), ATCA_SUCCESS);
    std::copy_n(before.begin(), 16, expected.begin());
    std::copy_n(before.begin() + 84, 6, expected.begin() + 84);
    EXPECT_EQ(config(), expected);

    for (const std::size_t offset : {0u, 12u, 84u, 88u}) EXPECT_NE(atcab_write_bytes_zone(0, 0, offset, b, 4), 0);
    EXPECT_EQ(atcab_write_bytes_zone(0, 0, 20, b, 4), ATCA_SUCCESS);
    std::fill_n(expected.begin() + 20, 4, std::uint8_t{0});
    EXPECT_EQ(config(), expected);

    ASSERT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
    expected[87] = 0;
    EXPECT_EQ(atcab_write_config_zone(written.data()), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_write_bytes_zone(0, 0, 20, b, 4), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(config(), expected);
}

TEST_F(AteccChip, LocksComeInOrderAndNeverOpen) {
    ASSERT_EQ(start(), ATCA_SUCCESS);
    const auto locks = [] {
        std::array<bool, 2> locked{};
        EXPECT_EQ(atcab_is_locked(LOCK_ZONE_CONFIG, &locked[0]), ATCA_SUCCESS);
        EXPECT_EQ(atcab_is_locked(LOCK_ZONE_DATA, &locked[1]), ATCA_SUCCESS);
        return locked;
    };
    using State = std::array<bool, 2>;
    EXPECT_EQ(locks(), (State{false, false}));
    EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_lock_data_slot(1), ATCA_EXECUTION_ERROR);
    ASSERT_EQ(atcab_write_config_zone(image(2, 0, 0x001C).data()), ATCA_SUCCESS);
    EXPECT_EQ(atcab_lock_config_zone(), ATCA_SUCCESS);
    EXPECT_EQ(locks(), (State{true, false}));
    EXPECT_EQ(atcab_lock_config_zone(), ATCA_EXECUTION_ERROR);
    EXPECT_EQ(atcab_lock_data_zone(), ATCA_SUCCESS);
    EXPECT_EQ(locks(), (State{true, true}));
    EXPECT_EQ(atcab_lock_data_zone(), ATCA_EXECUTION_ERROR);

    EXPECT_EQ(atcab_lock_data_slot(2), ATCA_EXECUTION_ERROR) << "not lockable";
    EXPECT_EQ(atcab_lock_data_slot(16), ATCA_BAD_PARAM);
    for (const std::uint16_t slot : std::initializer_list<std::uint16_t>{0, 7, 8, 15}) {
        EXPECT_FALSE(slot_locked(slot));
        EXPECT_EQ(atcab_lock_data_slot(slot), ATCA_SUCCESS);
        EXPECT_TRUE(slot_locked(slot));
        EXPECT_EQ(atcab_lock_data_slot(slot), ATCA_EXECUTION_ERROR);
        EXPECT_EQ(atcab_write_bytes_zone(2, slot, 0, b, 4), ATCA_EXECUTION_ERROR);
    }
    EXPECT_EQ(atcab_genkey(0, b), ATCA_EXECUTION_ERROR) << "the slot is locked";
    EXPECT_EQ((Bytes{config()[88], config()[89]}), (Bytes{0x7E, 0x7E}));
}

TEST_F(AteccChip, TheConfigurationDecidesWhatASlotAllows) {
    const struct {
        const char *what;
        unsigned slot_config, key_config;
        // 'w' before, 'W' after the data zone is locked; then reading, key generation, public key, signing
        std::string allowed;
    } cases[] = {{"plain data", 0x0F0F, 0x003C, "wWr"},      {"never written", 0x8F0F, 0x003C, "wr"},
                 {"write with a key", 0x4F0F, 0x003C, "wr"}, {"secret data", 0x0F8F, 0x003C, "wW"},
                 {"device key", 0x2F8F, 0x0033, "gps"},      {"key without public half", 0x2F8F, 0x0031, "gs"},
                 {"fixed key", 0x0F8F, 0x0033, ""},          {"key of another kind", 0x2F8F, 0x003F, ""}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(sim::replace_atecc(sim::AteccModel::atecc608a));
        ASSERT_EQ(start(), ATCA_SUCCESS);
        ASSERT_EQ(atcab_write_config_zone(image(1, c.slot_config, c.key_config).data()), ATCA_SUCCESS);
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
    provision();
    const std::size_t sizes[] = {36, 36, 36, 36, 36, 36, 36, 36, 416, 72, 72, 72, 72, 72, 72, 72};
    std::size_t size = 0;
    for (std::uint16_t slot = 1; slot < 16; ++slot) {
        ASSERT_EQ(atcab_get_zone_size(2, slot, &size), ATCA_SUCCESS);
        EXPECT_EQ(size, sizes[slot]);
        buffer.fill(static_cast<std::uint8_t>(slot));
        EXPECT_EQ(atcab_write_bytes_zone(2, slot, 0, b, size), ATCA_SUCCESS);
        EXPECT_EQ(atcab_write_bytes_zone(2, slot, 4, b, size), ATCA_BAD_PARAM);
        EXPECT_EQ(atcab_read_bytes_zone(2, slot, 1, b, size), ATCA_BAD_PARAM);
        EXPECT_EQ(atcab_read_bytes_zone(2, slot, SIZE_MAX, b, 4), ATCA_BAD_PARAM);
        EXPECT_EQ(atcab_read_bytes_zone(2, slot, 4, b, SIZE_MAX - 2), ATCA_BAD_PARAM);
    }
    for (unsigned slot = 1; slot < 16; ++slot)
        EXPECT_EQ(std::ranges::count(sim::look_into_slot(slot), slot), std::ptrdiff_t(sizes[slot])) << slot;

    EXPECT_EQ(atcab_write_bytes_zone(2, 9, 2, b, 4), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_write_bytes_zone(2, 9, 0, b, 6), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_write_bytes_zone(2, 9, 0, nullptr, 4), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_read_bytes_zone(3, 0, 0, b, 1), ATCA_BAD_PARAM);
    EXPECT_EQ(atcab_get_zone_size(2, 16, &size), ATCA_BAD_PARAM);
    const Bytes four = {1, 2, 3, 4};
    EXPECT_EQ(atcab_write_bytes_zone(2, 9, 8, four.data(), 4), ATCA_SUCCESS);
    EXPECT_EQ(atcab_read_bytes_zone(2, 9, 7, b, 4), ATCA_SUCCESS);
    EXPECT_EQ(Bytes(b, b + 4), (Bytes{9, 1, 2, 3}));
}

TEST_F(AteccChip, KeysSignWhatOthersCanVerify) {
    provision();
    sim::PublicKey key, again;
    ASSERT_EQ(atcab_genkey(0, key.data()), ATCA_SUCCESS);
    ASSERT_EQ(atcab_get_pubkey(0, again.data()), ATCA_SUCCESS);
    EXPECT_EQ(again, key);
    sim::Digest digest;
    sim::Signature signature;
    bool verified = false;
    ASSERT_EQ(atcac_sw_sha2_256(reinterpret_cast<const std::uint8_t *>("abc"), 3, digest.data()), 0);
    EXPECT_EQ((Bytes{digest[0], digest[1], digest[31]}), (Bytes{0xBA, 0x78, 0xAD}));
    ASSERT_EQ(atcab_sign(0, digest.data(), signature.data()), ATCA_SUCCESS);
    EXPECT_TRUE(sim::p256_verify(key, digest, signature));
    const auto verdict = [&](const sim::PublicKey &with) {
        EXPECT_EQ(atcab_verify_extern(digest.data(), signature.data(), with.data(), &verified), ATCA_SUCCESS);
        return verified;
    };
    EXPECT_TRUE(verdict(key));
    EXPECT_FALSE(verdict(Authority("another").public_key()));
    EXPECT_FALSE(verdict({})) << "not a point of the curve";
    digest[5] ^= 1;
    EXPECT_FALSE(verdict(key));

    ASSERT_EQ(atcab_write_pubkey(11, key.data()), ATCA_SUCCESS);
    EXPECT_TRUE(std::ranges::equal(key, sim::ByteView(sim::look_into_slot(11)).first(64)));
    ASSERT_EQ(atcab_read_pubkey(11, again.data()), ATCA_SUCCESS);
    EXPECT_EQ(again, key);
    EXPECT_NE(atcab_write_pubkey(1, key.data()), ATCA_SUCCESS) << "36 bytes do not hold it";

    const Authority known("known");
    sim::change_atecc([&](sim::AteccState &chip) { sim::place_private_key(chip, 0, known.private_key()); });
    ASSERT_EQ(atcab_get_pubkey(0, again.data()), ATCA_SUCCESS);
    EXPECT_EQ(again, known.public_key());
}

TEST_F(AteccChip, TheStateOutlivesItsProcessAndIsNotBelievedWhenDamaged) {
    provision();
    const pid_t child = fork();
    if (child == 0) {
        buffer.fill(0x77);
        _exit(atcab_write_bytes_zone(2, 8, 0, b, 416) || atcab_lock_data_slot(8));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    EXPECT_TRUE(slot_locked(8));
    ASSERT_EQ(atcab_read_bytes_zone(2, 8, 400, b, 16), ATCA_SUCCESS);
    EXPECT_EQ(Bytes(b, b + 16), Bytes(16, 0x77));

    const auto file = board.root() / "atecc.state";
    const Bytes sound = *sim::read_file(file);
    const auto with = [&](const Bytes &bytes) {
        EXPECT_TRUE(sim::replace_file(file, bytes));
        const ATCA_STATUS answer = atcab_write_bytes_zone(2, 9, 0, b, 4);
        if (answer != ATCA_SUCCESS) {
            EXPECT_EQ(*sim::read_file(file), bytes);
        }
        return answer;
    };
    for (std::size_t at = 0; at < sound.size(); at += 61) {
        Bytes damaged = sound;
        damaged[at] ^= 0x10;
        EXPECT_EQ(with(damaged), ATCA_COMM_FAIL) << at;
        EXPECT_EQ(with(Bytes(sound.begin(), sound.begin() + std::ptrdiff_t(at))), ATCA_COMM_FAIL) << at;
    }
    EXPECT_EQ(start(), ATCA_COMM_FAIL);
    EXPECT_THROW(sim::look_into_atecc(), std::runtime_error);
    ASSERT_TRUE(sim::replace_file(file, sound));
    EXPECT_EQ(start(), ATCA_SUCCESS);
    EXPECT_EQ(with(sound), ATCA_SUCCESS);
}

TEST_F(AteccChip, TheUsbKitHasAnEepromOfItsOwn) {
    ASSERT_EQ(start(), ATCA_SUCCESS);
    EXPECT_NE(atcab_eeprom_read(10, 32, b) & 0xFF, 0) << "no kit";
    board.fit({.usb = true});
    ASSERT_EQ(start(on_usb()), ATCA_SUCCESS);
    ASSERT_EQ(atcab_eeprom_read(10, 32, b), 0);
    EXPECT_EQ(Bytes(b, b + 10), Bytes(10, 0xFF));
    Bytes last(1024, 0x3C);
    EXPECT_EQ(atcab_eeprom_write(1024, 3072, last.data()), 0);
    for (const std::uint16_t address : std::initializer_list<std::uint16_t>{3073, 4096, 65535}) {
        EXPECT_NE(atcab_eeprom_write(1024, address, last.data()) & 0xFF, 0);
        EXPECT_NE(atcab_eeprom_read(1024, address, last.data()) & 0xFF, 0);
    }
    EXPECT_NE(atcab_eeprom_read(1, 0, nullptr) & 0xFF, 0);
    EXPECT_EQ(std::ranges::count(sim::look_into_usb_eeprom(), 0x3C), 1024);
    sim::change_usb_eeprom([](sim::UsbEeprom &eeprom) { eeprom[32] = 0xDD; });
    ASSERT_EQ(atcab_eeprom_read(2, 31, b), 0);
    EXPECT_EQ(Bytes(b, b + 2), (Bytes{0xFF, 0xDD}));
    ASSERT_TRUE(sim::replace_file(board.root() / "usb_kit.state", std::string("torn")));
    EXPECT_NE(atcab_eeprom_read(1, 0, b) & 0xFF, 0);
}

}  // namespace
}  // namespace ostdrv::test
