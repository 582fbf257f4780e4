// The same promises on every ATECC layout and interface.
#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

struct Scheme {
    const char *name;
    bool layout_1;
    bool usb;
};

class AteccScheme : public AteccChain, public testing::WithParamInterface<Scheme> {
 protected:
    void SetUp() override {
        start(GetParam().usb);
        if (GetParam().layout_1) set_serial("OSTRAVEL000000042");
    }
};

TEST_P(AteccScheme, ASoundChainIsVerifiedAndNothingElseIs) {
    save_chain();
    EXPECT_EQ(verify(root.public_key()), sound);
    // The chip is not asked to sign for a chain that is broken before.
    const auto expect_unsound = [&](const PublicKey &ca, const char *what) {
        EXPECT_EQ(calls_starting("atcacert_get_response", [&] { EXPECT_EQ(verify(ca), unsound) << what; }), Calls{});
    };
    expect_unsound(signer.public_key(), "wrong authority");
    const Authority stranger("Stranger");
    save(root.issue(stranger, {.authority = true}), device_cert);
    expect_unsound(root.public_key(), "wrong signer");
    save(stranger.issue(signer, {.authority = true}), device_cert);
    expect_unsound(root.public_key(), "signer of another authority");
    if (!GetParam().usb) {
        save(signer_cert, issue_device(stranger.public_key()));
        EXPECT_EQ(verify(root.public_key()), unsound) << "a certificate for another key";
        save(device_cert, signer_cert);
        EXPECT_EQ(verify(root.public_key()), unsound) << "swapped";
    }
    save_chain();
    EXPECT_EQ(verify(root.public_key()), sound) << "and the sound one again";
}

TEST_P(AteccScheme, NoFlippedBitOfTheStoredChainIsVerified) {
    save_chain();
    ASSERT_EQ(verify(root.public_key()), sound);
    std::vector<std::pair<unsigned, size_t>> held{{9, 64}, {10, 64}};
    if (GetParam().layout_1)
        held.insert(held.end(),
                    {{8, parts_of(signer_cert).tbs_size}, {11, 72}, {12, 72}, {13, 72}, {14, 72}, {15, 12}});
    else
        held.push_back({11, 64});
    const auto stored = inspect<AteccState>();
    for (const auto &[slot, bytes] : held)
        // A flip behind the signer runs through all of the signer first.
        for (size_t bit = 0; bit < bytes * 8; bit += slot == 8 ? 3 : 13) {
            change<AteccState>([&, number = slot](AteccState &chip) {
                chip = stored;
                chip.slot(number)[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
            });
            EXPECT_NE(verify(root.public_key()).second, 1) << "slot " << slot << ", bit " << bit;
        }
}

TEST_P(AteccScheme, MissingArgumentsAreThree) {
    const uint8_t *const key = device_key.data();
    const char *const paths[] = {"a", nullptr};
    uint8_t verified = 7;
    EXPECT_EQ(tpm_cert_verify(nullptr, paths, &verified), 3);
    EXPECT_EQ(tpm_cert_verify(key, paths, nullptr), 3);
    if (!GetParam().layout_1) {
        EXPECT_EQ(tpm_cert_verify(key, nullptr, &verified), 3);
        EXPECT_EQ(tpm_cert_verify(key, paths, &verified), 3);
    }
    EXPECT_EQ(verified, 7);
}

TEST_P(AteccScheme, FilesThatAreNoCertificatesAreRefused) {
    const auto before = inspect<AteccState>();
    const auto kit = inspect<sim::atecc::UsbKit>().eeprom;
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert}) {
        EXPECT_EQ(save(nullptr), 3);
        EXPECT_EQ(save(path("missing").c_str()), 2);
        EXPECT_EQ(save(put("c", "text").c_str()), 2);
        EXPECT_EQ(save(put("c", pem_of(signer_cert) + std::string(1024, '\n')).c_str()), 2) << "too large";
        EXPECT_EQ(save(pem_file("c", Bytes(100, 0xFF)).c_str()), GetParam().usb ? 6 : 9) << "the kit wants other names";
    }
    EXPECT_EQ(inspect<AteccState>(), before);
    EXPECT_EQ(inspect<sim::atecc::UsbKit>().eeprom, kit);
    EXPECT_EQ(verify(root.public_key()), (Verdict{GetParam().layout_1 ? 15 : 2, 0})) << "nothing is stored";
}

INSTANTIATE_TEST_SUITE_P(Schemes, AteccScheme,
                         testing::Values(Scheme{"layout_1", true, false}, Scheme{"layout_0", false, false},
                                         Scheme{"layout_0_usb", false, true}),
                         [](const auto &scheme) { return std::string(scheme.param.name); });

TEST_F(AteccChain, TheChipAnswersAChallengeForItsOwnKeyOnly) {
    uint8_t verified = 7;
    const auto challenge = [&] { return __cert_challenge(device_key.data(), &verified); };
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(challenge(), 0); }),
              (Calls{"atcac_sw_sha2_256(64)", "atcacert_get_response(0)", "atcab_verify_extern()"}));
    EXPECT_EQ(verified, 1);
    EXPECT_EQ(with_fault({.name = "atcab_verify_extern"}, challenge), 2);
    EXPECT_EQ(verified, 0);
    EXPECT_EQ(__cert_challenge(signer.public_key().data(), &verified), 0);
    EXPECT_EQ(verified, 0);
    EXPECT_EQ(__cert_challenge(nullptr, &verified), 3);
    EXPECT_EQ(__cert_challenge(device_key.data(), nullptr), 3);
}

}  // namespace
}  // namespace ostdrv::test
