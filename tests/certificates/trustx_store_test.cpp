#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

constexpr std::uint16_t device_object = 0xE0E1, signer_object = 0xE0E2;

class TrustxStore : public TrustxWorld {
 protected:
    // Their lengths put the signer's key where a verification looks for it.
    const Authority root{"Ostravel Root Authority"}, signer{"Ostravel Signer of the Plant 1"}, device{"Device"};
    const Bytes signer_cert = root.issue(signer, {.authority = true}), device_cert = signer.issue(device);

    int save_signer(const Bytes &der) const { return tpm_cert_save_signer_cert(put("s.pem", pem_of(der)).c_str()); }
    int save_device(const Bytes &der) const { return tpm_cert_save_device_cert(put("d.pem", pem_of(der)).c_str()); }
    void save_chain() const {
        ASSERT_EQ(save_signer(signer_cert), 0);
        ASSERT_EQ(save_device(device_cert), 0);
    }

    // Status of a verification; whatever is not a proof leaves the verdict as it was.
    static int verify(const PublicKey &authority) {
        std::uint8_t verdict = 0xA5;
        const int status = tpm_cert_verify(authority.data(), nullptr, &verdict);
        EXPECT_EQ(verdict, status == 0 ? 1 : 0xA5);
        return status;
    }
    int verify_with(std::uint16_t object, const Bytes &stored) const {
        change<TrustxState>([&](TrustxState &chip) { chip.object(object).content = stored; });
        return verify(root.public_key());
    }
    int verify_stored(const Bytes &stored_signer, const Bytes &stored_device) const {
        change<TrustxState>([&](TrustxState &chip) { chip.object(signer_object).content = stored_signer; });
        return verify_with(device_object, stored_device);
    }
};

TEST_F(TrustxStore, KeepsCertificatesWholeAndGivesThemBack) {
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_export_device_cert(nullptr), 3); }), Calls());
    EXPECT_EQ(tpm_cert_export_device_cert(path("d.out").c_str()), 8) << "nothing is stored";
    EXPECT_FALSE(exists("d.out"));
    save_chain();
    EXPECT_EQ(inspect<TrustxState>().content(signer_object), signer_cert);
    EXPECT_EQ(inspect<TrustxState>().content(device_object), device_cert);
    EXPECT_EQ(tpm_cert_export_signer_cert(path("s.out").c_str()), 0);
    EXPECT_EQ(tpm_cert_export_device_cert(path("d.out").c_str()), 0);
    EXPECT_EQ(der_of(get("s.out")), signer_cert);
    EXPECT_EQ(der_of(get("d.out")), device_cert);

    const Bytes largest = signer.issue(device, {.tbs_size = 1024 - 4 - 12 - 75, .r_length = 33, .s_length = 33});
    ASSERT_EQ(largest.size(), 1024u);
    EXPECT_EQ(save_device(largest), 0);
    EXPECT_EQ(verify(root.public_key()), 0);
    Bytes longer = largest;
    longer.push_back(0);
    EXPECT_EQ(save_device(longer), 8) << "does not fit the reader's buffer";
    EXPECT_EQ(inspect<TrustxState>().content(device_object), largest);
}

TEST_F(TrustxStore, RefusedSavesDoNotTouchTheChip) {
    save_chain();
    const std::string bad = put("bad.pem", " -----BEGIN CERTIFICATE-----\nAAAA\n"), missing = path("missing");
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert})
        EXPECT_EQ(calls_starting("trustX",
                                 [&] {
                                     EXPECT_EQ(save(nullptr), 3);
                                     EXPECT_EQ(save(bad.c_str()), 8);
                                     EXPECT_EQ(save(missing.c_str()), 8);
                                 }),
                  Calls{});
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 0);
    EXPECT_EQ(save_signer(device_cert), 4);
    EXPECT_EQ(inspect<TrustxState>().content(signer_object), signer_cert);
    EXPECT_EQ(save_device(signer_cert), 0) << "locked each by itself";
}

TEST_F(TrustxStore, LocksTheCertificateThenItsKey) {
    save_chain();
    const auto locks = [](int (*lock)()) { return calls_starting("trustX_lockSlot", [&] { EXPECT_EQ(lock(), 0); }); };
    EXPECT_EQ(locks(tpm_cert_lock_device_cert), (Calls{"trustX_lockSlot(0xe0e1)", "trustX_lockSlot(0xe0f1)"}));
    EXPECT_EQ(locks(tpm_cert_lock_device_cert), Calls()) << "nothing is locked twice";
    change<TrustxState>([](TrustxState &chip) { chip.object(signer_object).locked = true; });
    EXPECT_EQ(locks(tpm_cert_lock_signer_cert), Calls{"trustX_lockSlot(0xe0f2)"});
    std::uint8_t public_key[91];
    EXPECT_EQ(tpm_genkey(public_key, 68), 2) << "the device's key stays";
}

TEST_F(TrustxStore, VerifiesSoundChainsOfEveryForm) {
    for (const Wishes &form : {Wishes{.extensions = false, .r_length = 33, .s_length = 31},
                               Wishes{.extensions = false, .r_length = 31, .s_length = 33}})
        EXPECT_EQ(verify_stored(root.issue(signer, form), signer.issue(device, form)), 0);
    const Authority brief("S");
    const Bytes small = brief.issue("D", device.public_key(), {.extensions = false});
    ASSERT_EQ(small[5], 0x81) << "a length of one byte";
    EXPECT_EQ(verify_stored(root.issue("Ostravel Signer of the Plant 1", brief.public_key()), small), 0);

    std::uint8_t verdict = 7;
    EXPECT_EQ(tpm_cert_verify(nullptr, nullptr, &verdict), 3);
    EXPECT_EQ(tpm_cert_verify(root.public_key().data(), nullptr, nullptr), 3);
    EXPECT_EQ(verdict, 7);
}

TEST_F(TrustxStore, RefusesUnsoundChains) {
    const Authority stranger("Ostravel Root Authority");
    EXPECT_EQ(verify_stored({}, {}), 15) << "blank";
    EXPECT_EQ(verify_stored(device_cert, signer_cert), 15) << "swapped";
    EXPECT_EQ(verify_stored(stranger.issue(signer), device_cert), 15);
    EXPECT_EQ(verify_stored(signer_cert, stranger.issue(device)), 15);
    EXPECT_EQ(verify_stored(root.issue(signer.name(), stranger.public_key()), device_cert), 15);
    EXPECT_EQ(verify_stored(signer_cert, device_cert), 0);
    EXPECT_EQ(verify(stranger.public_key()), 15);
    EXPECT_EQ(verify(signer.public_key()), 15);
}

TEST_F(TrustxStore, TheSignersKeyIsLookedForWithinTwentyBytes) {
    std::size_t found = 0;
    for (std::size_t length = 8; length < 40; ++length) {
        const Bytes certificate = root.issue(std::string(length, 's'), signer.public_key());
        const auto parts = parts_of(certificate);
        const std::size_t header_ends = parts.key_offset - parts.tbs_offset - 160;
        const bool in_range = parts.key_offset - parts.tbs_offset >= 164 && header_ends <= 20;
        EXPECT_EQ(verify_stored(certificate, signer.issue(device)), in_range ? 0 : 15) << header_ends;
        found += in_range;
    }
    EXPECT_EQ(found, 17u);
}

TEST_F(TrustxStore, NoFlippedBitIsEverVerified) {
    const Wishes brief{.extensions = false};
    const Bytes of_signer = root.issue(signer, brief), of_device = signer.issue(device, brief);
    ASSERT_EQ(verify_stored(of_signer, of_device), 0);
    for (const auto &[object, sound] : {std::pair(signer_object, of_signer), {device_object, of_device}}) {
        const auto parts = parts_of(sound);
        for (std::size_t bit = parts.tbs_offset * 8; bit < sound.size() * 8; ++bit) {
            const std::size_t byte = bit / 8;
            if (byte >= parts.tbs_offset + parts.tbs_size && byte < parts.integers_offset) continue;
            Bytes bent = sound;
            bent[byte] = static_cast<std::uint8_t>(bent[byte] ^ 1u << bit % 8);
            ASSERT_EQ(verify_with(object, bent), 15) << byte << " of " << object;
        }
        ASSERT_EQ(verify_with(object, sound), 0);
    }
}

TEST_F(TrustxStore, NoLengthInACertificateIsBelievedBeyondWhatIsStored) {
    save_chain();
    const auto parts = parts_of(signer_cert);
    const auto expect_refused_before_the_chip = [&](const Bytes &stored) {
        EXPECT_EQ(calls_starting("trustX_verify", [&] { EXPECT_EQ(verify_with(signer_object, stored), 15); }), Calls{});
    };
    for (Bytes stored = signer_cert; !stored.empty();) {
        stored.pop_back();
        expect_refused_before_the_chip(stored);
    }
    const std::size_t tbs = parts.tbs_offset;
    const std::pair<std::size_t, std::size_t> lies[] = {{0, 1}, {0, 0x7000}, {tbs, 0}, {tbs, 1}, {tbs, 0x7000}};
    for (const auto &[header, beyond] : lies) {
        Bytes stored = signer_cert;
        const std::size_t length = stored.size() - header - 4 + beyond;
        stored[header + 2] = static_cast<std::uint8_t>(length >> 8);
        stored[header + 3] = static_cast<std::uint8_t>(length);
        expect_refused_before_the_chip(stored);
    }
    // An algorithm that ends behind the certificate, with it, and where its signature's headers have no room.
    const std::size_t algorithm = parts.tbs_offset + parts.tbs_size, room = signer_cert.size() - algorithm - 2;
    for (const std::size_t length : {std::size_t{0xff}, room, room - 4}) {
        Bytes far_algorithm = signer_cert;
        far_algorithm[algorithm + 1] = static_cast<std::uint8_t>(length);
        expect_refused_before_the_chip(far_algorithm);
    }
}

}  // namespace
}  // namespace ostdrv::test
