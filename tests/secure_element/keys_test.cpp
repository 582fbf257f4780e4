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

TEST_F(ProvisionedAtecc, AFailedFreezeLeavesTheKeyToBeMadeAgain) {
    uint8_t first[64] = {};
    uint8_t second[64] = {};
    EXPECT_EQ(with_fault({.name = "atcab_lock_data_slot"}, [&] { return tpm_genkey(first, 64); }), 2);
    EXPECT_NE(first[0] | first[1] | first[2] | first[3], 0) << "the new key is delivered all the same";
    EXPECT_EQ(tpm_genkey(second, 64), 0);
    EXPECT_NE(std::memcmp(first, second, 64), 0);
}

TEST_F(ProvisionedAtecc, SignaturesVerifyWithGivenAndStoredKeys) {
    sim::PublicKey key{};
    ASSERT_EQ(tpm_genkey(key.data(), 64), 0);
    sim::Digest digest{};
    digest.fill(0x5A);
    sim::Signature signature{};
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_sign_atecc(digest.data(), signature.data()), 0); }), Calls{"atcab_sign(0)"});
    EXPECT_TRUE(sim::p256_verify(key, digest, signature));

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
    bool verdict = true;
    const auto verify = [&] {
        return tpm_verify_with_stored_public_key_atecc(digest.data(), signature.data(), 12, &verdict);
    };
    EXPECT_EQ(with_fault({.name = "atcab_read_pubkey"}, verify), 2);
    EXPECT_EQ(sim::fault_plan::log().size(), 1u);
}

TEST_F(Atecc, TypeIsTheSessionsModelOrUnknown) {
    EXPECT_EQ(tpm_get_type(), 1);
    const auto type_with = [](long model) {
        return with_fault({.name = "atcab_get_device_type", .has_result = true, .result = model}, tpm_get_type);
    };
    EXPECT_EQ(type_with(2), 0);
    EXPECT_EQ(type_with(3), 1);
    EXPECT_EQ(type_with(0), 32);
    EXPECT_EQ(type_with(4), 32);
}

TEST_F(Trustx, EveryKeyIsNewAndItsPublicHalfIsStored) {
    uint8_t first[92];
    uint8_t second[92];
    first[91] = 0xEE;
    const uint8_t prefix[] = {0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02, 0x01, 0x06,
                              0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04};
    ASSERT_EQ(tpm_slot_count(), 8);
    const Calls calls = calls_of([&] { EXPECT_EQ(tpm_genkey(first, 68), 0); });
    EXPECT_EQ(calls[2], "optiga_util_write_data(0xf1d6, 0x40, 0, 91)");
    EXPECT_EQ(std::memcmp(first, prefix, sizeof prefix), 0);
    EXPECT_EQ(first[91], 0xEE);
    EXPECT_EQ(sim::trustx::peek(0xF1D6), sim::Bytes(first, first + 91));
    const auto key = sim::trustx::public_key(0xE0F1);
    ASSERT_TRUE(key);
    EXPECT_EQ(std::memcmp(key->data(), first + 27, 64), 0);

    EXPECT_EQ(tpm_genkey(second, 68), 0);
    EXPECT_NE(std::memcmp(first, second, 91), 0);
    EXPECT_EQ(tpm_genkey(second, 67), 2) << "no room for the key";
}

}  // namespace
}  // namespace ostdrv::test
