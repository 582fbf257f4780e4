// Requests for certificates, from both chips.
#include <set>

#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

constexpr std::uint16_t public_key_object = 0xF1D6;

TEST(CertificateTables, AreRightToTheByte) {
    EXPECT_EQ(hex_digest(g_csr_template, 237), "8ebd3c67abdb7623b8bccdbd011452dfeb77f651781c010ac12f687d2ba96f56");
    EXPECT_EQ(hex_digest(trustx_csr_header_template, sizeof trustx_csr_header_template),
              "3cca42867c5dc46fee816f368c24266c04799d18d91809d8c16c84712353b97a");
    EXPECT_EQ(hex_digest(trustx_csr_signable_template, sizeof trustx_csr_signable_template),
              "6093b54bc01b69d22b23cefd77608827790b43f112f4f3cc6cd598f48bc54748");
    EXPECT_EQ(hex_digest(trustx_csr_signature_template, sizeof trustx_csr_signature_template),
              "48c4048f94e9e182d046d94634c207b21f50719e68511129be66d1cd299c0448");
    EXPECT_EQ(hex_digest(trustx_csr_footer_template, sizeof trustx_csr_footer_template),
              "b7c3be487c909ba344a0068549dc5d4988651e53f7d75a5a0317c5ced0da9af7");
    EXPECT_EQ(hex_digest(b64chars, 66), "0358f626a5ef929bd1e006fafb18ccb73666f2ef7ac99854d894785c359d0404");
}

struct Requests : Chain, testing::WithParamInterface<Fitted> {
    const bool trustx = GetParam() == Fitted::trustx;

    void SetUp() override { fit(GetParam()); }
    int request(const std::string &name = "out") const {
        return (trustx ? tpm_cert_gencsr_trustx : tpm_cert_gencsr)(path(name).c_str());
    }
    Bytes der() const { return der_of(get("out"), "CERTIFICATE REQUEST"); }
};

TEST_P(Requests, AreSoundForEverySerialNumberAndSignatureLength) {
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 0) << "set before each use";
    for (const std::string &serial : {std::string("SHORT"), std::string(34, 'L'), std::string("OSTRAVEL-00000017")}) {
        ASSERT_EQ(set_serial(serial), 0);
        std::string name = serial.substr(0, 17);
        name.resize(17, '\0');
        std::set<std::size_t> seen;
        for (int i = 0; i < 4000 && seen.size() < (trustx && name == serial ? 4 : 2); ++i) {
            ASSERT_EQ(request(), 0);
            if (!seen.insert(der().size() - 168).second) continue;
            EXPECT_TRUE(request_is_sound(der(), name, device_key)) << serial;
            EXPECT_TRUE(!trustx || get("out") == pem_of(der(), "CERTIFICATE REQUEST"));
        }
        EXPECT_TRUE(*seen.begin() >= 67 && *seen.rbegin() <= 72);
    }
    const Bytes made = der();
    EXPECT_TRUE(std::equal(&made[3], &made[22], &g_csr_template[3])) << "both chips sign the same";
}

TEST_P(Requests, ThatFailLeaveTheFileAlone) {
    put("out", "old");
    const auto make = [&] { return request(); };
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_gencsr(nullptr) + tpm_cert_gencsr_trustx(nullptr), 6); }), Calls{});
    EXPECT_EQ(request("no/such/directory"), 8);
    if (trustx) {
        // A chip that reports success and leaves the lengths as they were announces 1024 bytes of key or signature.
        for (const sim::Fault &silent : {sim::Fault{.name = "optiga_util_read_data", .nth = 2, .has_result = true},
                                         sim::Fault{.name = "optiga_crypt_ecdsa_sign", .has_result = true}})
            EXPECT_EQ(with_fault(silent, make), 2);
        for (const std::size_t size : {0u, 65u, 90u, 92u, 140u}) {
            change<TrustxState>([&](TrustxState &chip) { chip.object(public_key_object).content = Bytes(size, 1); });
            EXPECT_EQ(request(), 2) << size;
        }
    } else {
        EXPECT_EQ(with_fault({.name = "atcacert_create_csr_pem"}, make), 2);
    }
    EXPECT_EQ(get("out"), "old");
}

INSTANTIATE_TEST_SUITE_P(Chips, Requests, testing::Values(Fitted::layout_1, Fitted::trustx),
                         [](const auto &fitted) { return name_of(fitted.param); });

TEST_F(OnTrustx, IsAskedForARequestInOneSessionThatEndsBeforeTheFile) {
    const std::string file = path("out");
    const Calls made = calls_of([&] { EXPECT_EQ(tpm_cert_gencsr_trustx(file.c_str()), 0); });
    const std::size_t size = der_of(get("out"), "CERTIFICATE REQUEST").size();
    EXPECT_EQ(made, (Calls{"trustX_Open()", "optiga_util_read_data(0xf1d0, 0, 1024)", "trustX_Close()", "trustX_Open()",
                           "optiga_util_read_data(0xf1d6, 0, 1024)", "trustX_sha256(148)",
                           "optiga_crypt_ecdsa_sign(32, 0xe0f1, 1024)", "trustX_Close()",
                           "trustX_encodeBase64(4096, " + std::to_string(size) + ")", "fopen(" + file + ", w)",
                           "fwrite(" + std::to_string(get("out").size()) + " '')", "fclose()"}));
}

TEST_F(OnLayout1, TheSerialNumberGoesWhereTheDefinitionSays) {
    const std::string file = path("device.csr");
    ASSERT_EQ(tpm_cert_gencsr(file.c_str()), 0);
    EXPECT_EQ(g_csr_def.template_id, 3);
    EXPECT_EQ(g_csr_def.cert_template, g_csr_template);
    EXPECT_EQ(g_csr_def.std_cert_elements[STDCERT_CERT_SN].count, 17);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.slot, 7);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 17);
    std::uint16_t &offset = g_csr_def.std_cert_elements[STDCERT_CERT_SN].offset;
    for (const auto &[place, status] : {std::pair{220, 0}, {221, 2}, {65535, 2}, {25, 0}}) {
        Bytes expected(g_csr_template, g_csr_template + sizeof g_csr_template);
        if (status == 0) std::copy_n("OSTRAVEL000000042", 17, expected.begin() + place);
        offset = static_cast<std::uint16_t>(place);
        EXPECT_EQ(tpm_cert_gencsr(file.c_str()), status) << place;
        EXPECT_TRUE(std::ranges::equal(g_csr_template, expected)) << place;
    }
}

}  // namespace
}  // namespace ostdrv::test
