#include <trustx.h>

#include <algorithm>
#include <optional>

#include "certificates/authority.hpp"
#include "trustx/chip_access.hpp"
#include "world.hpp"

namespace ostdrv::test {
namespace {

namespace chip = sim::trustx;

constexpr std::uint16_t device_cert = 0xE0E1, device_key = 0xE0F1, data_object = 0xF1D6;

class TrustxChip : public World {
 protected:
    static int write(std::uint16_t object, std::uint8_t type, std::uint16_t offset, const Bytes &bytes) {
        return optiga_util_write_data(object, type, offset, bytes.data(), static_cast<std::uint16_t>(bytes.size()));
    }
    // What a read delivers; nothing when it fails.
    static std::optional<Bytes> read(std::uint16_t object, std::uint16_t offset, std::uint16_t capacity) {
        Bytes bytes(capacity);
        const int status = optiga_util_read_data(object, offset, bytes.data(), &capacity);
        bytes.resize(capacity);
        return status == 0 ? std::optional(bytes) : std::nullopt;
    }
    static int generate(std::uint16_t length = 68) {
        std::uint8_t key[68];
        auto object = static_cast<optiga_key_id_t>(device_key);
        return optiga_crypt_ecc_generate_keypair(OPTIGA_ECC_NIST_P_256, 0x13, false, &object, key, &length);
    }
    static int sign() {
        std::uint8_t bytes[32 + 72] = {};
        std::uint16_t capacity = 72;
        return optiga_crypt_ecdsa_sign(bytes, 32, OPTIGA_KEY_STORE_ID_E0F1, bytes + 32, &capacity);
    }
};

TEST_F(TrustxChip, ObjectsKeepWhatFitsAndReadsGiveTheUsedBytes) {
    ASSERT_EQ(trustX_Open(), 0);
    for (const auto &[object, capacity] : {std::pair<std::uint16_t, std::uint16_t>{0xE0E0, 1728}, {0xF1DF, 140}}) {
        SCOPED_TRACE(object);
        EXPECT_EQ(write(object, 0x40, 0, Bytes(capacity, 'a')), 0);
        EXPECT_NE(write(object, 0x40, 0, Bytes(capacity + 1u, 'b')), 0);
        EXPECT_NE(write(object, 0x00, capacity, {'b'}), 0);
        EXPECT_EQ(read(object, 0, 2000), Bytes(capacity, 'a')) << "a refused write changed something";
        EXPECT_EQ(write(object, 0x40, 0, {'x', 'y', 'z'}), 0);
        EXPECT_EQ(write(object, 0x00, 2, {'Z', '!'}), 0);
        EXPECT_EQ(write(object, 0x00, 0, {'X'}), 0) << "does not shorten";
        EXPECT_NE(write(object, 0x00, 5, {'?'}), 0) << "a hole";
        EXPECT_NE(write(object, 0x01, 0, {'?'}), 0) << "no such write type";
        EXPECT_EQ(read(object, 0, 2000), (Bytes{'X', 'y', 'Z', '!'}));
        EXPECT_EQ(read(object, 1, 2), (Bytes{'y', 'Z'}));
        EXPECT_EQ(read(object, 5, 9), std::nullopt);
    }
    for (const std::uint16_t object : std::initializer_list<std::uint16_t>{0xE0E4, device_key, 0xF1E0}) {
        EXPECT_NE(write(object, 0x40, 0, {'a'}), 0) << object;
        EXPECT_EQ(read(object, 0, 8), std::nullopt) << object;
    }
}

TEST_F(TrustxChip, NothingTouchesAnObjectWithoutASession) {
    char *text = nullptr;
    for (const bool in_session : {false, true, false}) {
        SCOPED_TRACE(in_session);
        EXPECT_EQ(generate() == 0, in_session);
        EXPECT_EQ(sign() == 0, in_session);
        EXPECT_EQ(write(device_cert, 0x40, 0, {'a'}) == 0, in_session);
        EXPECT_EQ(read(device_cert, 0, 1).has_value(), in_session);
        EXPECT_EQ(trustX_lockStatus(device_cert, &text, &text, &text) == 0, in_session);
        EXPECT_EQ(trustX_lockSlot(0xE0E3) == 0, in_session);
        EXPECT_EQ(in_session ? trustX_Close() : trustX_Open(), 0);
    }
    EXPECT_EQ(trustX_Open(), 0);
    EXPECT_EQ(chip::open_sessions(), 2) << "sessions are counted";
    EXPECT_EQ(with_fault({.name = "trustX_Close"}, trustX_Close), -1);
    EXPECT_EQ(trustX_Close(), 0);
    EXPECT_NE(trustX_Close(), 0);
    board.fit({.chip = "atecc608a"});
    EXPECT_NE(trustX_Open(), 0);
}

TEST_F(TrustxChip, ALockIsForEverAndSaysNever) {
    ASSERT_EQ(trustX_Open(), 0);
    ASSERT_EQ(write(device_cert, 0x40, 0, {'a'}), 0);
    EXPECT_NE(sign(), 0) << "no key yet";
    EXPECT_NE(generate(67), 0);
    ASSERT_EQ(generate(), 0);
    const auto key = chip::public_key(device_key);
    for (const std::uint16_t object : {device_cert, device_key, data_object}) {
        char *change, *read_text, *execute;
        for (const bool locked : {false, true}) {
            EXPECT_EQ(trustX_lockStatus(object, &change, &read_text, &execute), 0);
            EXPECT_EQ(std::string(change) == __NEV, locked);
            EXPECT_EQ(trustX_lockSlot(object) == 0, !locked);
        }
        EXPECT_EQ(std::string(read_text) == __NEV, object == device_key);
        EXPECT_EQ(std::string(execute) == __NEV, object != device_key);
    }
    EXPECT_NE(write(device_cert, 0x40, 0, {'b'}), 0);
    EXPECT_EQ(read(device_cert, 0, 9), Bytes{'a'});
    EXPECT_NE(generate(), 0);
    EXPECT_EQ(chip::public_key(device_key), key) << "the key stays";
    EXPECT_EQ(sign(), 0) << "and works";
}

TEST_F(TrustxChip, Base64IsStrict) {
    std::uint8_t bytes[8];
    std::size_t length = 0;
    for (const std::string wrong : {"AA=", "AB==", "====", "AA==AA==", "AA==\n", "A A=", "AA-_"})
        EXPECT_NE(trustX_decodeBase64(bytes, sizeof bytes, &length, wrong.data(), wrong.size()), 0) << wrong;
}

TEST_F(TrustxChip, DamagedStatesAreRefusedAndNeverReplaced) {
    Bytes page(300, 'c');
    const struct {
        const char *file;
        sim::BoardDescription fitted;
        std::function<int()> write;
    } cases[] = {{"trustx.state", {.chip = "trustx"}, [&] { return write(device_cert, 0x40, 0, page); }},
                 {"atecc.state", {.usb = true}, [&] { return int(atcab_write_bytes_zone(0, 0, 20, page.data(), 4)); }},
                 {"usb_kit.state", {.usb = true}, [&] { return atcab_eeprom_write(300, 0, page.data()); }}};
    for (const auto &c : cases) {
        board.fit(c.fitted);
        c.fitted.usb ? atcab_init(&tpm_iface_config_hid) : trustX_Open();
        ASSERT_EQ(c.write(), 0);
        const auto file = board.root() / c.file;
        const Bytes whole = sim::read_file(file).value();
        page[0] = 'd';
        const auto refused = [&](const Bytes &state) {
            sim::replace_file(file, state);
            return c.write() != 0 && sim::read_file(file) == state;
        };
        for (std::size_t at = 0; at < whole.size(); at += 41) {
            Bytes damaged = whole;
            damaged[at] ^= 0x10;
            EXPECT_TRUE(refused(damaged)) << c.file << at;
            damaged.resize(at);
            EXPECT_TRUE(refused(damaged)) << c.file << at;
        }
        EXPECT_FALSE(refused(whole));
    }
}

}  // namespace
}  // namespace ostdrv::test
