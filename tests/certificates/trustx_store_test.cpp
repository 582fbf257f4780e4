// What a Trust X, which keeps certificates whole, believes of their bytes.
#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

constexpr std::uint16_t device_object = 0xE0E1, signer_object = 0xE0E2;

struct TrustxStore : OnTrustx {
    static void store(std::uint16_t object, const Bytes &bytes) {
        change<TrustxState>([&](TrustxState &chip) { chip.object(object).content = bytes; });
    }
    // The status of a verification; whatever is not a proof leaves the verdict as it was.
    int status_with(const Bytes &stored_signer, const Bytes &stored_device) const {
        store(signer_object, stored_signer), store(device_object, stored_device);
        const auto [status, verdict] = verify();
        EXPECT_EQ(verdict, status == 0 ? 1 : 7);
        return status;
    }
};

TEST_F(TrustxStore, CertificatesOfEveryFormAreKeptUpToTheReadersBuffer) {
    const Authority device("Device");
    for (const auto &[r, s] : {std::pair<std::size_t, std::size_t>{33, 31}, {31, 33}}) {
        const Wishes form{.extensions = false, .r_length = r, .s_length = s};
        EXPECT_EQ(status_with(root.issue(signer, form), signer.issue(device, form)), 0);
    }
    const Authority brief("S");
    const Bytes small = brief.issue("D", device.public_key(), {.extensions = false});
    ASSERT_EQ(small[5], 0x81) << "a length of one byte";
    EXPECT_EQ(status_with(root.issue(signer.name(), brief.public_key()), small), 0);

    store(signer_object, signer_cert);
    Bytes largest = signer.issue(device, {.tbs_size = 1024 - 4 - 12 - 75, .r_length = 33, .s_length = 33});
    ASSERT_EQ(largest.size(), 1024u);
    EXPECT_EQ(save_device(largest), 0);
    EXPECT_EQ(verify(), sound);
    EXPECT_EQ(exported(tpm_cert_export_device_cert), largest);
    largest.push_back(0);
    EXPECT_EQ(save_device(largest), 8) << "does not fit the reader's buffer";
    store(device_object, {});
    EXPECT_EQ(exported(tpm_cert_export_device_cert, 8), Bytes()) << "nothing is stored";
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_export_device_cert(nullptr), 3); }), Calls());
}

TEST_F(TrustxStore, TheSignersKeyIsLookedForWithinTwentyBytes) {
    std::size_t found = 0;
    for (std::size_t length = 8; length < 45; ++length) {
        const Bytes certificate = root.issue(std::string(length, 's'), signer.public_key());
        const auto parts = parts_of(certificate);
        const std::size_t key = parts.key_offset - parts.tbs_offset;
        const bool in_range = key >= 164 && key <= 180;
        EXPECT_EQ(status_with(certificate, device_cert), in_range ? 0 : 15) << key;
        found += in_range;
    }
    EXPECT_EQ(found, 17u);
}

TEST_F(TrustxStore, NoLengthInACertificateIsBelievedBeyondWhatIsStored) {
    const auto expect_refused_before_the_chip = [&](const Bytes &stored) {
        for (const std::string &call : calls_of([&] { EXPECT_EQ(status_with(stored, device_cert), 15); }))
            EXPECT_FALSE(call.starts_with("trustX_verify"));
    };
    for (Bytes stored = signer_cert; !stored.empty();) {
        stored.pop_back();
        expect_refused_before_the_chip(stored);
    }
    const std::size_t tbs = parts_of(signer_cert).tbs_offset, algorithm = tbs + parts_of(signer_cert).tbs_size;
    const std::pair<std::size_t, std::size_t> lies[] = {{0, 1}, {0, 0x7000}, {tbs, 0}, {tbs, 1}, {tbs, 0x7000}};
    for (const auto &[header, beyond] : lies) {
        Bytes stored = signer_cert;
        const std::size_t length = stored.size() - header - 4 + beyond;
        stored[header + 2] = static_cast<std::uint8_t>(length >> 8);
        stored[header + 3] = static_cast<std::uint8_t>(length);
        expect_refused_before_the_chip(stored);
    }
    // An algorithm that ends behind the certificate, with it, and where its signature's headers have no room.
    for (const std::size_t behind : {signer_cert.size() - algorithm - 257, std::size_t{0}, std::size_t{4}}) {
        Bytes stored = signer_cert;
        stored[algorithm + 1] = static_cast<std::uint8_t>(stored.size() - algorithm - 2 - behind);
        expect_refused_before_the_chip(stored);
    }
}

}  // namespace
}  // namespace ostdrv::test
