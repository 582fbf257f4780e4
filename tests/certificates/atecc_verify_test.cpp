#include "certificates/chains.hpp"
#include "core/der.hpp"

namespace ostdrv::test {
namespace {

// The same promises on every ATECC layout and interface.
struct Scheme {
    const char *name;
    bool layout_1;
    bool usb;
};

class AteccVerification : public AteccChain, public testing::WithParamInterface<Scheme> {
 protected:
    void SetUp() override {
        board.fit({.chip = "atecc608a", .usb = GetParam().usb});
        board.put("/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        ASSERT_EQ(tpm_genkey(device_key.data(), 64), 0);
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = signer.issue("Device 0001", device_key, {.extensions = false, .tbs_size = 300});
        if (GetParam().layout_1) set_serial();
    }
    void save(const Bytes &signer_der, const Bytes &device_der) {
        ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("signercert.cert", signer_der).c_str()), 0);
        ASSERT_EQ(tpm_cert_save_device_cert(pem_file("devcert.cert", device_der).c_str()), 0);
    }
    Verdict verdict(const PublicKey &ca) {
        const std::string signer_path = path("signercert.cert");
        const std::string device_path = path("devcert.cert");
        const char *const paths[] = {signer_path.c_str(), device_path.c_str()};
        return verify(ca, GetParam().layout_1 ? nullptr : paths);
    }
    Calls signing_calls() {
        Calls calls = sim::fault_plan::log();
        std::erase_if(calls, [](auto &call) { return !call.starts_with("atcacert_get_response"); });
        return calls;
    }
};

TEST_P(AteccVerification, ASoundChainIsVerifiedAndNothingElseIs) {
    save(signer_cert, device_cert);
    EXPECT_EQ(verdict(root.public_key()), sound);
    sim::fault_plan::start();
    EXPECT_EQ(verdict(signer.public_key()), unsound) << "wrong authority";
    EXPECT_EQ(verdict(Authority("Other").public_key()), unsound);
    sim::fault_plan::stop();
    EXPECT_EQ(signing_calls(), Calls{}) << "the chip is never asked to sign";

    const Authority stranger("Stranger");
    save(root.issue(stranger, {.authority = true}), device_cert);
    EXPECT_EQ(verdict(root.public_key()), unsound) << "wrong signer";
    save(stranger.issue(signer, {.authority = true}), device_cert);
    EXPECT_EQ(verdict(root.public_key()), unsound) << "signer of another authority";
    if (!GetParam().usb) {
        save(signer_cert, signer.issue("Device 0002", stranger.public_key(), {.extensions = false, .tbs_size = 300}));
        EXPECT_EQ(verdict(root.public_key()), unsound) << "a certificate for another key";
        save(device_cert, signer_cert);
        EXPECT_EQ(verdict(root.public_key()), unsound) << "swapped";
    }
    save(signer_cert, device_cert);
    EXPECT_EQ(verdict(root.public_key()), sound) << "and the sound one again";
}

TEST_P(AteccVerification, MissingArgumentsAreThree) {
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

// Every call made to fail, once and for good: never a proof, nothing left behind, no signing after an earlier failure.
TEST_P(AteccVerification, AnInterruptedVerificationProvesNothing) {
    save(signer_cert, device_cert);
    const size_t calls = calls_of([&] { EXPECT_EQ(verdict(root.public_key()), sound); }).size();
    const Remains before = remains();
    for (size_t nth = 1; nth <= calls; ++nth)
        for (const bool lasting : {false, true}) {
            sim::fault_plan::start();
            sim::fault_plan::add({.kinds = 3, .nth = nth, .lasting = lasting});
            const Verdict v = verdict(root.public_key());
            sim::fault_plan::stop();
            const std::string failed = sim::fault_plan::log()[nth - 1];
            const bool harmless =
                failed.starts_with("fclose") || failed.starts_with("remove") || failed.starts_with("fgets");
            EXPECT_TRUE((v.verified != 1 && v.status != 0) ||
                        (v == unsound && (failed.starts_with("atcacert_verify_cert_hw") || harmless)) ||
                        (harmless && !lasting && v.status == 0) || v.status == 13)
                << failed << ": " << v;
            if (v.status != 0) {
                EXPECT_NE(v.verified, 1) << failed;
            }
            Remains after = remains();
            if (failed.starts_with("remove") || lasting) {  // a file that cannot be removed stays
                sim::Unseen unseen;
                for (const auto &file : std::filesystem::directory_iterator(board.root() / "fs/tmp"))
                    std::filesystem::remove(file);
                after = remains();
            }
            EXPECT_EQ(after, before) << failed;
        }
    std::cout << "failed " << calls << " calls, once and for good\n";
}

INSTANTIATE_TEST_SUITE_P(Schemes, AteccVerification,
                         testing::Values(Scheme{"layout_1", true, false}, Scheme{"layout_0", false, false},
                                         Scheme{"layout_0_usb", false, true}),
                         [](const auto &scheme) { return std::string(scheme.param.name); });

class Challenge : public AteccChain {};

TEST_F(Challenge, TheChipAnswersForItsOwnKeyOnly) {
    uint8_t verified = 7;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(__cert_challenge(device_key.data(), &verified), 0); }),
              (Calls{"atcac_sw_sha2_256(64)", "atcacert_get_response(0)", "atcab_verify_extern()"}));
    EXPECT_EQ(verified, 1);
    EXPECT_EQ(__cert_challenge(signer.public_key().data(), &verified), 0);
    EXPECT_EQ(verified, 0);
    size_t made = 0;
    for (const char *name : {"atcac_sw_sha2_256", "atcacert_get_response", "atcab_verify_extern"}) {
        verified = 7;
        EXPECT_EQ(with_fault({.name = name}, [&] { return __cert_challenge(device_key.data(), &verified); }), 2);
        EXPECT_EQ(verified, 0);
        EXPECT_EQ(sim::fault_plan::log().size(), ++made);
    }
}

// One flipped bit anywhere in the stored chain is never verified.
TEST_F(AteccChain, NoFlippedBitOfTheStoredChainIsVerified) {
    set_serial();
    save_chain();
    ASSERT_EQ(verify(root.public_key()), sound);
    const size_t signer_tbs = parts_of(signer_cert).tbs_size;
    const size_t device_tbs = parts_of(device_cert).tbs_size;
    const auto stored = sim::look_into_atecc();
    int flipped = 0;
    const auto flip = [&](unsigned slot, size_t byte, int bit) {
        sim::change_atecc([&](sim::AteccState &chip) {
            chip = stored;
            chip.slot(slot)[byte] ^= static_cast<uint8_t>(1 << bit);
        });
        EXPECT_NE(verify(root.public_key()).verified, 1) << "slot " << slot << ", byte " << byte << ", bit " << bit;
        ++flipped;
    };
    // A flip in the device's part runs through the whole signer first, so of its to-be-signed part every third bit.
    for (size_t i = 0; i < signer_tbs; ++i)
        for (int bit = 0; bit < 8; ++bit) flip(8, i, bit);
    for (size_t i = 0; i < 64; ++i)
        for (int bit = 0; bit < 8; ++bit) flip(10, i, bit);
    for (size_t i = 0; i < 64; i += 5) flip(9, i, static_cast<int>(i % 8));
    for (size_t i = 0; i < device_tbs; i += 7)
        flip(11 + static_cast<unsigned>(i / 72), i % 72, static_cast<int>(i % 8));
    std::cout << flipped << " flipped bits, none verified\n";
}

// On layout 0 the chip holds the two signatures and the signer's key.
TEST_F(AteccChain, NoFlippedBitOfTheCompressedChainIsVerified) {
    save_chain();
    const std::string signer_path = path("signercert.cert");
    const std::string device_path = path("devcert.cert");
    const char *const paths[] = {signer_path.c_str(), device_path.c_str()};
    ASSERT_EQ(verify(root.public_key(), paths), sound);
    const auto stored = sim::look_into_atecc();
    int flipped = 0;
    for (const unsigned slot : {9u, 10u, 11u})
        for (unsigned bit = 0; bit < 64 * 8; bit += 3, ++flipped) {
            sim::change_atecc([&](sim::AteccState &chip) {
                chip = stored;
                chip.slot(slot)[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
            });
            EXPECT_NE(verify(root.public_key(), paths).verified, 1) << "slot " << slot << ", bit " << bit;
        }
    std::cout << flipped << " flipped bits, none verified\n";
}

}  // namespace
}  // namespace ostdrv::test
