#include <trustx.h>

#include <algorithm>
#include <optional>
#include <span>

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
        Bytes bytes(capacity + 1u, 0xee);
        const int status = optiga_util_read_data(object, offset, bytes.data(), &capacity);
        EXPECT_EQ(bytes.back(), 0xee) << "read past the buffer";
        bytes.resize(capacity);
        return status == 0 ? std::optional(bytes) : std::nullopt;
    }
    static int generate(optiga_key_id_t object, Bytes &public_key) {
        auto length = static_cast<std::uint16_t>(public_key.size());
        const int status =
            optiga_crypt_ecc_generate_keypair(OPTIGA_ECC_NIST_P_256, 0x13, false, &object, public_key.data(), &length);
        public_key.resize(length);
        return status;
    }
    static std::optional<Bytes> sign(const Bytes &digest, std::uint16_t capacity = 72) {
        Bytes signature(capacity);
        const int status = optiga_crypt_ecdsa_sign(digest.data(), static_cast<std::uint8_t>(digest.size()),
                                                   OPTIGA_KEY_STORE_ID_E0F1, signature.data(), &capacity);
        signature.resize(capacity);
        return status == 0 ? std::optional(signature) : std::nullopt;
    }
};

TEST_F(TrustxChip, ObjectsKeepWhatFitsAndReadsGiveTheUsedBytes) {
    ASSERT_EQ(trustX_Open(), 0);
    const struct {
        std::uint16_t object;
        std::size_t capacity;
    } objects[] = {{0xE0E0, 1728}, {0xE0E3, 1728}, {0xF1D0, 140}, {0xF1DF, 140}};
    for (const auto &[object, capacity] : objects) {
        SCOPED_TRACE(object);
        EXPECT_EQ(read(object, 0, 8), Bytes());
        EXPECT_EQ(write(object, 0x40, 0, Bytes(capacity, 'a')), 0);
        EXPECT_NE(write(object, 0x40, 0, Bytes(capacity + 1, 'b')), 0);
        EXPECT_NE(write(object, 0x00, static_cast<std::uint16_t>(capacity), {'b'}), 0);
        EXPECT_EQ(read(object, 0, 2000), Bytes(capacity, 'a')) << "a refused write changed something";
        EXPECT_EQ(write(object, 0x40, 0, {'x', 'y', 'z'}), 0);
        EXPECT_EQ(write(object, 0x00, 2, {'Z', '!'}), 0);
        EXPECT_EQ(write(object, 0x00, 0, {'X'}), 0) << "does not shorten";
        EXPECT_NE(write(object, 0x00, 5, {'?'}), 0) << "a hole";
        EXPECT_NE(write(object, 0x40, 1, {'?'}), 0) << "erased, everything is a hole";
        EXPECT_NE(write(object, 0x01, 0, {'?'}), 0) << "no such write type";
        EXPECT_EQ(read(object, 0, 2000), (Bytes{'X', 'y', 'Z', '!'}));
        EXPECT_EQ(read(object, 1, 2), (Bytes{'y', 'Z'}));
        EXPECT_EQ(read(object, 4, 9), Bytes());
        EXPECT_EQ(read(object, 5, 9), std::nullopt);
    }
    for (const std::uint16_t object : std::initializer_list<std::uint16_t>{0xE0E4, 0xE0F1, 0xF1E0, 0}) {
        EXPECT_NE(write(object, 0x40, 0, {'a'}), 0) << object;
        EXPECT_EQ(read(object, 0, 8), std::nullopt) << object;
    }
}

TEST_F(TrustxChip, NothingTouchesAnObjectWithoutASession) {
    char *text = nullptr;
    Bytes key(68);
    for (const bool in_session : {false, true, false}) {
        SCOPED_TRACE(in_session);
        EXPECT_EQ(generate(OPTIGA_KEY_STORE_ID_E0F1, key) == 0, in_session);
        EXPECT_EQ(sign(Bytes(32)).has_value(), in_session);
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
    EXPECT_EQ(chip::open_sessions(), 0);
    EXPECT_NE(trustX_Close(), 0);
    for (const char *fitted : {"atecc508a", "atecc608a", "none", "trustx"}) {
        board.fit({.chip = fitted});
        EXPECT_EQ(trustX_Open() == 0, std::string(fitted) == "trustx") << fitted;
    }
}

TEST_F(TrustxChip, ALockIsForEverAndSaysNever) {
    ASSERT_EQ(trustX_Open(), 0);
    ASSERT_EQ(write(device_cert, 0x40, 0, {'a'}), 0);
    Bytes key(68), refused(68);
    ASSERT_EQ(generate(OPTIGA_KEY_STORE_ID_E0F1, key), 0);
    for (const std::uint16_t object : {device_cert, device_key, data_object}) {
        char *change, *read_text, *execute;
        EXPECT_EQ(trustX_lockStatus(object, &change, &read_text, &execute), 0);
        EXPECT_STRNE(change, __NEV);
        EXPECT_EQ(std::string(read_text) == __NEV, object == device_key);
        EXPECT_EQ(std::string(execute) == __NEV, object != device_key);
        EXPECT_EQ(trustX_lockSlot(object), 0);
        EXPECT_EQ(trustX_lockStatus(object, &change, &read_text, &execute), 0);
        EXPECT_STREQ(change, __NEV);
        EXPECT_NE(trustX_lockSlot(object), 0);
    }
    EXPECT_NE(write(device_cert, 0x40, 0, {'b'}), 0);
    EXPECT_EQ(read(device_cert, 0, 9), Bytes{'a'});
    EXPECT_NE(generate(OPTIGA_KEY_STORE_ID_E0F1, refused), 0);
    EXPECT_TRUE(std::ranges::equal(*chip::public_key(device_key), std::span(key).subspan(4))) << "the key stays";
    EXPECT_TRUE(sign(Bytes(32))) << "and works";
    char *text;
    EXPECT_NE(trustX_lockStatus(0xE0E9, &text, &text, &text), 0);
    EXPECT_NE(trustX_lockSlot(0xE0E9), 0);
}

TEST_F(TrustxChip, KeysSignWhatTheVerifierAcceptsAndNothingElse) {
    ASSERT_EQ(trustX_Open(), 0);
    EXPECT_EQ(sign(Bytes(32)), std::nullopt) << "no key yet";
    Bytes small(67), key(100);
    EXPECT_NE(generate(OPTIGA_KEY_STORE_ID_E0F1, small), 0);
    EXPECT_EQ(generate(OPTIGA_KEY_STORE_ID_E0F1, key), 0);
    ASSERT_EQ(key.size(), 68u);
    EXPECT_EQ(Bytes(key.begin(), key.begin() + 4), (Bytes{0x03, 0x42, 0x00, 0x04}));
    EXPECT_NE(generate(static_cast<optiga_key_id_t>(device_cert), key), 0) << "not a key object";

    const Bytes data{'d', 'a', 't', 'a'};
    Bytes digest(32);
    ASSERT_EQ(trustX_sha256(data.data(), data.size(), digest.data(), 0), 0);
    EXPECT_EQ(sign(Bytes(31)), std::nullopt);
    EXPECT_EQ(sign(digest, 60), std::nullopt);
    const Bytes signature = sign(digest).value();
    const Authority owner("owner");
    EXPECT_TRUE(chip::import_key(device_key, owner.private_key()));
    EXPECT_EQ(chip::public_key(device_key), owner.public_key());
    EXPECT_NE(sign(digest), signature);
    ASSERT_EQ(trustX_Close(), 0);

    const auto accepts = [&](const Bytes &over, const Bytes &integers) {
        return trustX_verify(key.data() + 4, over.data(), over.size(), integers.data(), integers.size()) == 0;
    };
    EXPECT_TRUE(accepts(data, signature)) << "needs no session";
    EXPECT_FALSE(accepts({'d', 'a', 't', 'b'}, signature));
    for (std::size_t size = 0; size < signature.size(); ++size)
        EXPECT_FALSE(accepts(data, Bytes(signature.begin(), signature.begin() + static_cast<long>(size)))) << size;
    Bytes longer = signature, sequence{0x30, static_cast<std::uint8_t>(signature.size())};
    longer.push_back(0);
    sequence.insert(sequence.end(), signature.begin(), signature.end());
    EXPECT_FALSE(accepts(data, longer));
    EXPECT_FALSE(accepts(data, sequence));
}

TEST_F(TrustxChip, Base64IsStrictAndStaysInItsBuffers) {
    const std::pair<Bytes, std::string> cases[] = {
        {{}, ""}, {{0}, "AA=="}, {{'M', 'a'}, "TWE="}, {{'M', 'a', 'n'}, "TWFu"}, {{0xfb, 0xff}, "+/8="}};
    for (const auto &[bytes, text] : cases) {
        std::string encoded(text.size() + 1, '#');
        Bytes decoded(bytes.size() + 1, '#');
        std::size_t length = 99;
        const std::uint8_t *const start = bytes.empty() ? decoded.data() : bytes.data();
        EXPECT_EQ(trustX_encodeBase64(encoded.data(), text.size(), &length, start, bytes.size()), 0);
        EXPECT_EQ(length, text.size());
        EXPECT_EQ(encoded, text + "#");
        EXPECT_EQ(trustX_decodeBase64(decoded.data(), bytes.size(), &length, text.data(), text.size()), 0);
        EXPECT_EQ(length, bytes.size());
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), decoded.begin()) && decoded.back() == '#');
        if (text.empty()) continue;
        EXPECT_NE(trustX_encodeBase64(encoded.data(), text.size() - 1, &length, bytes.data(), bytes.size()), 0);
        EXPECT_NE(trustX_decodeBase64(decoded.data(), bytes.size() - 1, &length, text.data(), text.size()), 0);
    }
    std::uint8_t byte[8];
    std::size_t length = 0;
    for (const std::string text :
         {"A", "AA", "AA=", "AB==", "A===", "====", "AA==AA==", "AA==\n", "A A=", "AA=A", "AA-_"})
        EXPECT_NE(trustX_decodeBase64(byte, sizeof byte, &length, text.data(), text.size()), 0) << text;
    EXPECT_NE(trustX_encodeBase64(reinterpret_cast<char *>(byte), sizeof byte, &length, byte, SIZE_MAX), 0);
    EXPECT_NE(trustX_decodeBase64(byte, sizeof byte, &length, "AAAA", SIZE_MAX), 0);
}

TEST_F(TrustxChip, ADamagedStateIsRefusedAndNeverReplaced) {
    ASSERT_EQ(trustX_Open(), 0);
    ASSERT_EQ(write(device_cert, 0x40, 0, Bytes(300, 'c')), 0);
    const auto file = board.root() / "trustx.state";
    const Bytes whole = sim::read_file(file).value();
    const auto refused = [&](const Bytes &state) {
        sim::replace_file(file, state);
        return !read(device_cert, 0, 9) && write(device_cert, 0x40, 0, {'x'}) != 0 &&
               trustX_lockSlot(device_cert) != 0 && sim::read_file(file) == state;
    };
    for (std::size_t size = 0; size < whole.size(); size += 7)
        EXPECT_TRUE(refused(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)))) << size;
    for (std::size_t at = 0; at < whole.size(); at += 5) {
        Bytes damaged = whole;
        damaged[at] ^= 0x10;
        EXPECT_TRUE(refused(damaged)) << at;
    }
    sim::replace_file(file, whole);
    EXPECT_EQ(read(device_cert, 0, 400), Bytes(300, 'c'));
    EXPECT_TRUE(chip::make_blank());
    EXPECT_EQ(read(device_cert, 0, 400), Bytes());
}

}  // namespace
}  // namespace ostdrv::test
