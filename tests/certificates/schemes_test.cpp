// The same promises on every chip, layout and interface.
#include <unistd.h>

#include <tuple>

#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

struct Scheme {
    Fitted fitted;
    Verdict unsound, blank;                  // of a chain that does not hold, and of none
    std::string signer_locks, device_locks;  // what is locked, in order
    int locked;                              // what a save is told then
    int exported;
    int unreadable, foreign;  // of a file that is no certificate, and of one in PEM that holds none
};

void PrintTo(const Scheme &scheme, std::ostream *out) { *out << name_of(scheme.fitted); }

class Schemes : public Chain, public testing::WithParamInterface<Scheme> {
 protected:
    const bool trustx = GetParam().fitted == Fitted::trustx, usb = GetParam().fitted == Fitted::layout_0_usb;

    void SetUp() override { fit(GetParam().fitted); }
    // The places that an action locks, one after the other.
    static std::string locks(int (*lock)()) {
        std::string places;
        for (const std::string &call : calls_of([&] { EXPECT_EQ(lock(), 0); }))
            if (call.starts_with("atcab_lock_data_slot") || call.starts_with("trustX_lockSlot"))
                places += call.substr(call.find('('));
        return places;
    }
    static void flip(std::uint16_t place, std::size_t bit) {
        const auto bend = [&](auto &&content) { content[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8); };
        if (GetParam().fitted == Fitted::trustx)
            change<TrustxState>([&](TrustxState &chip) { bend(chip.object(place).content); });
        else
            change<AteccState>([&](AteccState &chip) { bend(chip.slot(place)); });
    }
    // Everything of the chain that the chip holds and a signature covers, or is one: where, from which byte, up to
    // which.
    std::vector<std::tuple<std::uint16_t, std::size_t, std::size_t>> held() const {
        const auto s = parts_of(signer_cert), d = parts_of(device_cert);
        switch (GetParam().fitted) {
            case Fitted::trustx:
                return {{0xE0E2, s.tbs_offset, s.tbs_offset + s.tbs_size},
                        {0xE0E2, s.integers_offset, signer_cert.size()},
                        {0xE0E1, d.tbs_offset, d.tbs_offset + d.tbs_size},
                        {0xE0E1, d.integers_offset, device_cert.size()}};
            case Fitted::layout_1:
                return {{8, 0, s.tbs_size}, {9, 0, 64},  {10, 0, 64}, {11, 0, 72},
                        {12, 0, 72},        {13, 0, 72}, {14, 0, 72}, {15, 0, 12}};
            default:
                return {{9, 0, 64}, {10, 0, 64}, {11, 0, 64}};
        }
    }
};

TEST_P(Schemes, ASoundChainIsKeptAndVerifiedAndNothingElseIs) {
    const Verdict unsound = GetParam().unsound;
    EXPECT_EQ(verify(), GetParam().blank);
    save_chain();
    EXPECT_EQ(verify(), sound);
    const sim::Fault silent{.name = "atcab_verify_extern", .lasting = true, .has_result = true};
    EXPECT_EQ(with_fault(silent, [&] { return verify(); }), trustx ? sound : unsound) << "no verdict is no yes";
    const bool given = GetParam().exported == 0;
    EXPECT_EQ(exported(tpm_cert_export_signer_cert, GetParam().exported), given ? signer_cert : Bytes());
    EXPECT_EQ(exported(tpm_cert_export_device_cert, GetParam().exported), given ? device_cert : Bytes());

    // The chip is not asked to sign for a chain that is broken before.
    const auto expect_unsound = [&](const PublicKey &ca, const char *what) {
        for (const std::string &call : calls_of([&] { EXPECT_EQ(verify(ca), unsound) << what; }))
            EXPECT_FALSE(call.starts_with("atcacert_get_response")) << what;
    };
    expect_unsound(signer.public_key(), "wrong authority");
    const Authority stranger("Test Intermediate Intruder1");
    ASSERT_EQ(save_signer(root.issue(stranger, {.authority = true})), 0);
    expect_unsound(root.public_key(), "wrong signer");
    ASSERT_EQ(save_signer(stranger.issue(signer, {.authority = true})), 0);
    expect_unsound(root.public_key(), "signer of another authority");
    if (!usb) {
        ASSERT_EQ(save_signer(device_cert) + save_device(signer_cert), 0);
        EXPECT_EQ(verify(), unsound) << "swapped";
        ASSERT_EQ(save_signer(signer_cert) + save_device(issue_device(stranger.public_key())), 0);
        EXPECT_EQ(verify(), trustx ? sound : unsound) << "a certificate for another key, which an ATECC has to prove";
    }
    save_chain();
    EXPECT_EQ(verify(), sound) << "and the sound one again";
}

TEST_P(Schemes, NoFlippedBitOfTheStoredChainIsVerified) {
    save_chain();
    ASSERT_EQ(verify(), sound);
    for (const auto &[place, from, to] : held())
        // A flip behind the signer runs through all of the signer first.
        for (std::size_t bit = from * 8; bit < to * 8; bit += place == 8 || trustx ? 3 : 29) {
            flip(place, bit);
            EXPECT_NE(verify().second, 1) << place << ", bit " << bit;
            flip(place, bit);
        }
    EXPECT_EQ(verify(), sound);
}

TEST_P(Schemes, WhatIsNoArgumentOrNoCertificateIsRefusedUntouched) {
    const char *const paths[] = {"a", nullptr};
    std::uint8_t verified = 7;
    EXPECT_EQ(tpm_cert_verify(nullptr, paths, &verified), 3);
    EXPECT_EQ(tpm_cert_verify(device_key.data(), paths, nullptr), 3);
    if (!trustx && GetParam().exported != 0) {
        EXPECT_EQ(tpm_cert_verify(device_key.data(), nullptr, &verified), 3);
        EXPECT_EQ(tpm_cert_verify(device_key.data(), paths, &verified), 3);
    }
    EXPECT_EQ(verified, 7);

    const Files before = keep();
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert}) {
        EXPECT_EQ(save(nullptr), 3);
        EXPECT_EQ(save(path("missing").c_str()), GetParam().unreadable);
        EXPECT_EQ(save(put("c", " -----BEGIN CERTIFICATE-----\nAAAA\n").c_str()), GetParam().unreadable);
        if (trustx) continue;  // which looks neither at the file's size nor into the certificate
        EXPECT_EQ(save(put("c", pem_of(signer_cert) + std::string(1024, '\n')).c_str()), 2) << "too large";
        EXPECT_EQ(save(pem_file("c", Bytes(100, 0xFF)).c_str()), GetParam().foreign);
    }
    unlink(path("c").c_str());
    EXPECT_EQ(keep(), before);
    EXPECT_EQ(tpm_cert_save_signer_cert(pem_file("c", signer_cert).c_str()), usb ? 6 : 0) << "only the kit asks names";
}

TEST_P(Schemes, LocksGoInOrderAndOnce) {
    save_chain();
    EXPECT_EQ(locks(tpm_cert_lock_device_cert), GetParam().device_locks);
    EXPECT_EQ(locks(tpm_cert_lock_device_cert), "");
    EXPECT_EQ(save_device(device_cert), GetParam().locked);
    EXPECT_EQ(save_signer(signer_cert), 0) << "locked each by itself";
    EXPECT_EQ(locks(tpm_cert_lock_signer_cert), GetParam().signer_locks);
    EXPECT_EQ(locks(tpm_cert_lock_signer_cert), "");
    EXPECT_EQ(save_signer(signer_cert), GetParam().locked);
    EXPECT_EQ(verify(), sound);
}

const Scheme schemes[] = {{Fitted::layout_1, {0, 0}, {15, 0}, "(8)(10)", "(11)(12)(13)(14)(15)(9)", 4, 0, 2, 9},
                          {Fitted::layout_0, {0, 0}, {2, 0}, "(11)(10)", "(9)", 2, 14, 2, 9},
                          {Fitted::layout_0_usb, {0, 0}, {2, 0}, "(11)(10)", "(9)", 2, 14, 2, 6},
                          {Fitted::trustx, {15, 7}, {15, 7}, "(0xe0e2)(0xe0f2)", "(0xe0e1)(0xe0f1)", 4, 0, 8, 0}};
INSTANTIATE_TEST_SUITE_P(All, Schemes, testing::ValuesIn(schemes),
                         [](const auto &scheme) { return name_of(scheme.param.fitted); });

TEST_F(OnLayout1, TheChipAnswersAChallengeForItsOwnKeyOnly) {
    std::uint8_t verified = 7;
    const auto challenge = [&] { return __cert_challenge(device_key.data(), &verified); };
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(challenge(), 0); }),
              (Calls{"atcac_sw_sha2_256(64)", "atcacert_get_response(0)", "atcab_verify_extern()"}));
    EXPECT_EQ(verified, 1);
    EXPECT_EQ(with_fault({.name = "atcab_verify_extern"}, challenge), 2);
    EXPECT_EQ(verified, 0);
    EXPECT_EQ(__cert_challenge(signer.public_key().data(), &verified), 0);
    EXPECT_EQ(verified, 0);
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(__cert_challenge(nullptr, &verified), 3);
                  EXPECT_EQ(__cert_challenge(device_key.data(), nullptr), 3);
              }),
              Calls{});
}

struct UsbKit : Chain {
    void SetUp() override { fit(Fitted::layout_0_usb); }
    static Bytes eeprom(long offset, std::size_t size) {
        const auto all = inspect<sim::atecc::UsbKit>().eeprom;
        return {all.begin() + offset, all.begin() + offset + static_cast<long>(size)};
    }
};

TEST_F(UsbKit, CopiesAndDirectoryFollowTheFileName) {
    ASSERT_EQ(save_signer(signer_cert), 0);
    EXPECT_NE(eeprom(32, 1)[0], 0xDD);
    EXPECT_EQ(verify(), (Verdict{2, 0})) << "no entry for the device yet";
    save_chain();
    const auto low = [](const Bytes &bytes) { return static_cast<std::uint8_t>(bytes.size()); };
    EXPECT_EQ(eeprom(32, 10), (Bytes{0xDD, 0xDD, 5, 0, 1, low(device_cert), 1, 0, 1, low(signer_cert)}));
    EXPECT_EQ(eeprom(1280, device_cert.size()), device_cert);
    EXPECT_EQ(eeprom(256, signer_cert.size()), signer_cert);

    // The name decides the entry, the row that was called decides the slots.
    const Bytes slot_10 = inspect<AteccState>().content(10);
    ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("devcert.cert", signer_cert).c_str()), 0);
    EXPECT_EQ(eeprom(1280, signer_cert.size()), signer_cert);
    EXPECT_EQ(inspect<AteccState>().content(10), slot_10);
    // The templates come from the EEPROM: the files are not needed any more.
    save_chain();
    unlink(signer_file.c_str());
    EXPECT_EQ(verify(), sound);

    const auto chip = inspect<AteccState>();
    EXPECT_EQ(with_fault({.name = "atcab_eeprom_write", .nth = 2}, [&] { return save_signer(device_cert); }), 2);
    EXPECT_EQ(inspect<AteccState>(), chip) << "the chip comes after the kit's EEPROM";
    // A directory whose length is larger than any certificate's.
    change<sim::atecc::UsbKit>([](sim::atecc::UsbKit &kit) { kit.eeprom[40] = kit.eeprom[41] = 0x04; });
    EXPECT_EQ(verify(), (Verdict{2, 0}));
}

}  // namespace
}  // namespace ostdrv::test
