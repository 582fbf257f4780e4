#include <set>

#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

constexpr std::uint16_t public_key_object = 0xF1D6, key_object = 0xE0F1;

TEST(RequestTemplates, AreTheTablesToTheByte) {
    Bytes all(std::begin(g_csr_template), std::end(g_csr_template));
    for (const auto &[sample, size] : {std::pair{22, 17}, {85, 64}, {170, 32}, {205, 32}})
        std::fill_n(all.begin() + sample, size, std::uint8_t{0});
    const auto add = [&](const auto &table) { all.insert(all.end(), std::begin(table), std::end(table)); };
    add(trustx_csr_header_template), add(trustx_csr_signable_template);
    add(trustx_csr_signature_template), add(trustx_csr_footer_template);
    EXPECT_EQ(sim::sha256(all), (sim::Digest{0x34, 0xf5, 0x6c, 0x22, 0x98, 0xf5, 0x3b, 0xde, 0x71, 0x84, 0x10,
                                             0xee, 0xfc, 0x17, 0x17, 0x01, 0x1f, 0x24, 0xa5, 0x44, 0x39, 0x14,
                                             0x90, 0x81, 0x7d, 0x3e, 0x23, 0x8f, 0x02, 0xd9, 0xb7, 0x61}));
}

class CsrTrustx : public TrustxWorld {
 protected:
    void SetUp() override {
        TrustxWorld::SetUp();
        ASSERT_EQ(set_serial("OSTRAVEL-00000017"), 0);
        std::uint8_t public_key[91];
        EXPECT_EQ(tpm_genkey(public_key, 68), 0);
    }
    int request() const { return tpm_cert_gencsr_trustx(path("out").c_str()); }
    Bytes der() const { return der_of(get("out"), "CERTIFICATE REQUEST"); }
};

TEST_F(CsrTrustx, RequestsAreSoundForEverySerialNumber) {
    for (std::string serial : {"ABCDE", "OSTRAVEL-00000017-AND-MORE-OF-IT"}) {
        ASSERT_EQ(set_serial(serial), 0);
        ASSERT_EQ(request(), 0);
        serial.resize(17);
        EXPECT_TRUE(request_is_sound(der(), serial, *inspect<TrustxState>().public_key(key_object)));
    }
    const Bytes made = der();
    Bytes signable(made.begin() + 3, made.begin() + 151);
    const auto clear = [](auto &&bytes) {
        std::fill_n(bytes + 19, 17, 0);
        std::fill_n(bytes + 82, 64, 0);
        return Bytes(bytes, bytes + 148);
    };
    EXPECT_EQ(clear(signable.begin()), clear(g_csr_template + 3)) << "both chips sign the same";
}

TEST_F(CsrTrustx, BytesAndLinesFitEverySignatureLength) {
    std::set<std::size_t> seen;
    for (int i = 0; i < 4000 && seen.size() < 4; ++i) {
        ASSERT_EQ(request(), 0);
        const Bytes bytes = der();
        if (!seen.insert(bytes.size() - 168).second) continue;
        EXPECT_TRUE(request_is_sound(bytes, "OSTRAVEL-00000017", *inspect<TrustxState>().public_key(key_object)));
        EXPECT_EQ(get("out"), pem_of(bytes, "CERTIFICATE REQUEST"));
    }
    EXPECT_EQ(seen, (std::set<std::size_t>{67, 68, 69, 70}));
}

TEST_F(CsrTrustx, TheChipIsAskedInOneSessionThatEndsBeforeTheFile) {
    const Calls made = calls_of([&] { EXPECT_EQ(request(), 0); });
    EXPECT_EQ(made,
              (Calls{"trustX_Open()", "optiga_util_read_data(0xf1d0, 0, 1024)", "trustX_Close()", "trustX_Open()",
                     "optiga_util_read_data(0xf1d6, 0, 1024)", "trustX_sha256(148)",
                     "optiga_crypt_ecdsa_sign(32, 0xe0f1, 1024)", "trustX_Close()",
                     "trustX_encodeBase64(4096, " + std::to_string(der().size()) + ")", "fopen(" + path("out") + ", w)",
                     "fwrite(" + std::to_string(get("out").size()) + " '')", "fclose()"}));
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_gencsr_trustx(nullptr), 3); }), Calls());
    EXPECT_EQ(tpm_cert_gencsr_trustx(path("no/such").c_str()), 8);
}

TEST_F(CsrTrustx, RefusesWhatIsNoP256KeyOrSignature) {
    put("out", "kept");
    // A chip that reports success and leaves the lengths as they were announces 1024 bytes of key or signature.
    for (const sim::Fault &silent : {sim::Fault{.name = "optiga_util_read_data", .nth = 2, .has_result = true},
                                     sim::Fault{.name = "optiga_crypt_ecdsa_sign", .has_result = true}})
        EXPECT_EQ(with_fault(silent, [&] { return request(); }), 2);
    for (const std::size_t size : {0u, 65u, 90u, 92u, 140u}) {
        change<TrustxState>([&](TrustxState &chip) { chip.object(public_key_object).content = Bytes(size, 1); });
        EXPECT_EQ(request(), 2) << size;
    }
    EXPECT_EQ(get("out"), "kept");
}

}  // namespace
}  // namespace ostdrv::test
