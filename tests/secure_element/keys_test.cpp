#include <cstring>

#include "core/crypto.hpp"
#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

TEST_F(ProvisionedAtecc, TheDeviceKeyIsMadeOnceAndFrozen) {
    uint8_t first[64] = {};
    uint8_t second[64] = {};
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_genkey(first, 0), 0); }),
              (Calls{"atcab_is_slot_locked(0)", "atcab_genkey(0)", "atcab_lock_data_slot(0)"}));
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_genkey(second, 64), 0); }),
              (Calls{"atcab_is_slot_locked(0)", "atcab_get_pubkey(0)"}));
    EXPECT_EQ(std::memcmp(first, second, 64), 0);
}

TEST_F(ProvisionedAtecc, AKeyThatCouldNotBeFrozenIsDelivered) {
    uint8_t key[64] = {};
    EXPECT_EQ(with_fault({.name = "atcab_lock_data_slot"}, [&] { return tpm_genkey(key, 64); }), 2);
    EXPECT_NE(key[0] | key[1] | key[2] | key[3], 0);
}

TEST_F(ProvisionedAtecc, SignaturesVerifyWithGivenAndStoredKeys) {
    sim::PublicKey key{};
    ASSERT_EQ(tpm_genkey(key.data(), 64), 0);
    sim::Digest digest{};
    digest.fill(0x5A);
    sim::Signature signature{};
    EXPECT_EQ(tpm_sign_atecc(digest.data(), signature.data()), 0);

    ASSERT_EQ(tpm_write_public_key_atecc(12, key.data()), 0);
    for (const bool sound : {true, false}) {
        if (!sound) signature[40] ^= 1;
        bool given = !sound;
        bool stored = !sound;
        EXPECT_EQ(tpm_verify_with_ext_public_key_atecc(digest.data(), signature.data(), key.data(), &given), 0);
        EXPECT_EQ(tpm_verify_with_stored_public_key_atecc(digest.data(), signature.data(), 12, &stored), 0);
        EXPECT_EQ(given, sound);
        EXPECT_EQ(stored, sound);
    }
}

TEST_F(Atecc, TypeIsTheSessionsModelOrUnknown) {
    for (const auto &[model, type] : {std::pair{0, 32}, {2, 0}, {3, 1}, {4, 32}})
        EXPECT_EQ(with_fault({.name = "atcab_get_device_type", .has_result = true, .result = model}, tpm_get_type),
                  type);
}

TEST_F(Trustx, EveryKeyIsNewAndItsPublicHalfIsStored) {
    uint8_t first[92];
    uint8_t second[92];
    first[91] = 0xEE;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_genkey(first, 68), 0); }),
              (Calls{"trustX_Open()", "optiga_crypt_ecc_generate_keypair(3, 0x13, 0, 0xe0f1, 68)",
                     "optiga_util_write_data(0xf1d6, 0x40, 0, 91)", "trustX_Close()"}));
    EXPECT_EQ(hex_digest(first, 27), "1aa0ad0054afc2f841e72ddbadb37e06f52b5c7621679bbe60fe3aa4c461c594");
    EXPECT_EQ(first[91], 0xEE);
    EXPECT_EQ(inspect<TrustxState>().content(0xF1D6), sim::Bytes(first, first + 91));
    EXPECT_EQ(std::memcmp(inspect<TrustxState>().public_key(0xE0F1).value().data(), first + 27, 64), 0);

    EXPECT_EQ(tpm_genkey(second, 68), 0);
    EXPECT_NE(std::memcmp(first, second, 91), 0);

    // A chip that reports success and leaves the length as it was: longer than what one write takes, or just so long.
    std::vector<uint8_t> large(65535);
    for (const auto &[length, calls] : {std::pair<uint16_t, std::size_t>{65513, 3}, {65512, 4}}) {
        const auto generate = [&, size = length] { return tpm_genkey(large.data(), size); };
        EXPECT_EQ(with_fault({.name = "optiga_crypt_ecc_generate_keypair", .has_result = true}, generate), 2);
        EXPECT_EQ(sim::fault_plan::log().size(), calls);
    }
}

}  // namespace
}  // namespace ostdrv::test
