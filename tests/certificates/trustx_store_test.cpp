#include "certificates/trustx_world.hpp"

namespace ostdrv::test {
namespace {

namespace chip = sim::trustx;
constexpr std::uint16_t device_object = 0xE0E1, device_key = 0xE0F1, signer_object = 0xE0E2, signer_key = 0xE0F2;

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
        chip::poke(object, stored);
        return verify(root.public_key());
    }
    int verify_stored(const Bytes &stored_signer, const Bytes &stored_device) const {
        chip::poke(signer_object, stored_signer);
        return verify_with(device_object, stored_device);
    }
};

TEST_F(TrustxStore, KeepsCertificatesWholeAndGivesThemBack) {
    save_chain();
    EXPECT_EQ(chip::peek(signer_object), signer_cert);
    EXPECT_EQ(chip::peek(device_object), device_cert);
    EXPECT_EQ(tpm_cert_export_signer_cert(path("s.out").c_str()), 0);
    EXPECT_EQ(tpm_cert_export_device_cert(path("d.out").c_str()), 0);
    EXPECT_EQ(der_of(get("s.out")), signer_cert);
    EXPECT_EQ(der_of(get("d.out")), device_cert);
    EXPECT_EQ(get("d.out").substr(0, 29), "-----BEGIN CERTIFICATE-----\r\n");

    const Bytes largest = signer.issue(device, {.tbs_size = 1024 - 4 - 12 - 75, .r_length = 33, .s_length = 33});
    ASSERT_EQ(largest.size(), 1024u);
    EXPECT_EQ(save_device(largest), 0);
    EXPECT_EQ(verify(root.public_key()), 0);
    Bytes longer = largest;
    longer.push_back(0);
    EXPECT_EQ(save_device(longer), 8) << "does not fit the reader's buffer";
    EXPECT_EQ(chip::peek(device_object), largest);
}

TEST_F(TrustxStore, RefusedSavesDoNotTouchTheChip) {
    save_chain();
    const std::string bad = put("bad.pem", " -----BEGIN CERTIFICATE-----\nAAAA\n"), missing = path("missing");
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert})
        for (const auto &call : calls_of([&] {
                 EXPECT_EQ(save(nullptr), 3);
                 EXPECT_EQ(save(bad.c_str()), 8);
                 EXPECT_EQ(save(missing.c_str()), 8);
             }))
            EXPECT_TRUE(call.starts_with("f")) << call;
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 0);
    EXPECT_EQ(save_signer(device_cert), 4);
    EXPECT_EQ(chip::peek(signer_object), signer_cert);
    EXPECT_EQ(save_device(signer_cert), 0) << "locked each by itself";
}

TEST_F(TrustxStore, LocksTheCertificateThenItsKey) {
    save_chain();
    const auto locks = [](int (*lock)(), int expected) {
        Calls made;
        for (const auto &call : calls_of([&] { EXPECT_EQ(lock(), expected); }))
            if (call.starts_with("trustX_lockSlot")) made.push_back(call);
        return made;
    };
    sim::fault_plan::start();
    sim::fault_plan::add({.name = "trustX_lockSlot"});
    EXPECT_EQ(tpm_cert_lock_device_cert(), 2);
    sim::fault_plan::stop();
    EXPECT_EQ(chip::is_locked(device_key), false);

    EXPECT_EQ(locks(tpm_cert_lock_device_cert, 0), (Calls{"trustX_lockSlot(0xe0e1)", "trustX_lockSlot(0xe0f1)"}));
    EXPECT_EQ(locks(tpm_cert_lock_device_cert, 0), Calls()) << "nothing is locked twice";
    chip::set_locked(signer_object, true);
    EXPECT_EQ(locks(tpm_cert_lock_signer_cert, 0), Calls{"trustX_lockSlot(0xe0f2)"});
    EXPECT_EQ(chip::is_locked(signer_key), true);
    std::uint8_t public_key[91];
    EXPECT_EQ(tpm_genkey(public_key, 68), 2) << "the device's key stays";
    EXPECT_EQ(verify(root.public_key()), 0);
}

TEST_F(TrustxStore, ExportsReportWhatKeepsThemFromWriting) {
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_export_device_cert(nullptr), 3); }), Calls());
    EXPECT_EQ(tpm_cert_export_device_cert(path("out").c_str()), 8) << "nothing is stored";
    EXPECT_FALSE(exists("out"));
    save_chain();
    EXPECT_EQ(tpm_cert_export_device_cert(path("no/such").c_str()), 8);
}

TEST_F(TrustxStore, EveryFailingCallHasItsStatus) {
    save_chain();
    const std::string out = path("out"), in = put("in", pem_of(signer_cert));
    const auto expected = [](const std::string &call) {
        if (call == "trustX_Close") return 0;
        return call.starts_with("f") || call.ends_with("Base64") ? 8 : 2;
    };
    fail_each_call([&] { return tpm_cert_export_signer_cert(out.c_str()); },
                   [&](int status, const std::string &call) { EXPECT_EQ(status, expected(call)); });
    // A failing read ends the text, which may decode all the same; closing what was read does not matter.
    fail_each_call([&] { return tpm_cert_save_signer_cert(in.c_str()); },
                   [&](int status, const std::string &call) {
                       EXPECT_TRUE(call == "fread" || status == (call == "fclose" ? 0 : expected(call))) << status;
                   });
    save_chain();
    fail_each_call(
        [&] { return verify(root.public_key()); },
        [&](int status, const std::string &call) { EXPECT_EQ(status, call == "trustX_verify" ? 15 : expected(call)); });
}

TEST_F(TrustxStore, VerifiesSoundChainsOfEveryForm) {
    const Wishes forms[] = {{.extensions = false},
                            {.tbs_size = 700},
                            {.extensions = false, .r_length = 33, .s_length = 32},
                            {.extensions = false, .r_length = 32, .s_length = 33},
                            {.extensions = false, .r_length = 31},
                            {.extensions = false, .s_length = 31}};
    for (const Wishes &form : forms)
        EXPECT_EQ(verify_stored(root.issue(signer, form), signer.issue(device, form)), 0)
            << form.tbs_size << " " << form.r_length << " " << form.s_length;
    const Authority brief_root("R"), brief("S");
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
    EXPECT_EQ(verify_stored(signer_cert, {}), 15);
    EXPECT_EQ(verify_stored(device_cert, signer_cert), 15) << "swapped";
    EXPECT_EQ(verify_stored(signer_cert, signer_cert), 15);
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
    const Bytes sound_signer = root.issue(signer, brief), sound_device = signer.issue(device, brief);
    std::size_t flipped = 0;
    for (const bool at_signer : {true, false}) {
        const Bytes &sound = at_signer ? sound_signer : sound_device;
        const auto parts = parts_of(sound);
        ASSERT_EQ(verify_stored(sound_signer, sound_device), 0);
        for (std::size_t bit = parts.tbs_offset * 8; bit < sound.size() * 8; ++bit) {
            const std::size_t byte = bit / 8;
            if (byte >= parts.tbs_offset + parts.tbs_size && byte < parts.integers_offset) continue;
            Bytes bent = sound;
            bent[byte] = static_cast<std::uint8_t>(bent[byte] ^ 1u << bit % 8);
            ASSERT_EQ(verify_with(at_signer ? signer_object : device_object, bent), 15)
                << byte << " of " << (at_signer ? "signer" : "device");
            ++flipped;
        }
    }
    std::printf("%zu flipped bits, none verified\n", flipped);
}

TEST_F(TrustxStore, NoLengthInACertificateIsBelievedBeyondWhatIsStored) {
    save_chain();
    const auto parts = parts_of(signer_cert);
    const auto verifications = [&](const Bytes &stored) {
        Calls made;
        for (const auto &call : calls_of([&] { EXPECT_EQ(verify_with(signer_object, stored), 15); }))
            if (call.starts_with("trustX_verify")) made.push_back(call);
        return made.size();
    };
    for (std::size_t size = 0; size < signer_cert.size(); ++size)
        EXPECT_EQ(verifications(Bytes(signer_cert.begin(), signer_cert.begin() + static_cast<long>(size))), 0u) << size;
    for (const std::size_t header : {std::size_t{0}, parts.tbs_offset})
        for (const int more : {1, 100, 0x7000}) {
            Bytes stored = signer_cert;
            const std::size_t rest = stored.size() - header - 4 + static_cast<std::size_t>(more);
            stored[header + 2] = static_cast<std::uint8_t>(rest >> 8);
            stored[header + 3] = static_cast<std::uint8_t>(rest);
            EXPECT_EQ(verifications(stored), 0u) << header << " " << more;
        }
    Bytes far_algorithm = signer_cert;
    far_algorithm[parts.tbs_offset + parts.tbs_size + 1] = 0xff;
    EXPECT_EQ(verifications(far_algorithm), 0u);
    for (std::size_t at = 0; at < signer_cert.size(); at += at < 8 ? 1 : 3)
        for (const int value : {0x00, 0x7f, 0x80, 0x81, 0x82, 0xff}) {
            Bytes stored = signer_cert;
            stored[at] = static_cast<std::uint8_t>(value);
            const int status = verify_with(signer_object, stored);
            const bool is_signed = at >= parts.tbs_offset && at < parts.tbs_offset + parts.tbs_size;
            EXPECT_TRUE(status == 15 || (status == 0 && (!is_signed || stored == signer_cert))) << at;
        }
}

}  // namespace
}  // namespace ostdrv::test
