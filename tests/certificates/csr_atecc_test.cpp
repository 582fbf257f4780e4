#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

TEST_F(AteccChain, RequestsCarrySeventeenBytesOfSerialAndTheDeviceKey) {
    const std::string file = path("device.csr");
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 0) << "set before each use";
    for (const std::string &serial : {std::string("OSTRAVEL000000042"), std::string("SHORT"), std::string(34, 'L')}) {
        ASSERT_EQ(set_serial(serial), 0);
        std::string name = serial.substr(0, 17);
        name.resize(17, '\0');
        // Signatures differ in length from call to call: several of each.
        for (int i = 0; i < 8; ++i) {
            ASSERT_EQ(tpm_cert_gencsr(file.c_str()), 0);
            EXPECT_TRUE(request_is_sound(der_of(get("device.csr"), "CERTIFICATE REQUEST"), name, device_key)) << serial;
        }
    }
    EXPECT_EQ(g_csr_def.template_id, 3);
    EXPECT_EQ(g_csr_def.cert_template, g_csr_template);
    EXPECT_EQ(g_csr_def.std_cert_elements[STDCERT_CERT_SN].count, 17);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.slot, 7);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 17);
}

TEST_F(AteccChain, TheSerialNumberGoesWhereTheDefinitionSays) {
    ASSERT_EQ(set_serial("OSTRAVEL000000042"), 0);
    const std::string file = path("device.csr");
    std::uint16_t &offset = g_csr_def.std_cert_elements[STDCERT_CERT_SN].offset;
    for (const auto &[place, status] : {std::pair{220, 0}, {221, 2}, {65535, 2}, {25, 0}}) {
        Bytes expected(g_csr_template, g_csr_template + sizeof g_csr_template);
        if (status == 0) std::copy_n("OSTRAVEL000000042", 17, expected.begin() + place);
        offset = static_cast<std::uint16_t>(place);
        EXPECT_EQ(tpm_cert_gencsr(file.c_str()), status) << place;
        EXPECT_TRUE(std::ranges::equal(g_csr_template, expected)) << place;
    }
}

TEST_F(AteccChain, AFailedRequestLeavesTheFileAlone) {
    const std::string file = put("device.csr", "old");
    const auto request = [&] { return tpm_cert_gencsr(file.c_str()); };
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_gencsr(nullptr), 3); }), Calls{});
    EXPECT_EQ(with_fault({.name = "atcacert_create_csr_pem"}, request), 2);
    EXPECT_EQ(get("device.csr"), "old");
    EXPECT_EQ(with_fault({.name = "fwrite"}, request), 0) << "the write's outcome is not checked";
    EXPECT_EQ(tpm_cert_gencsr(path("no/such/directory").c_str()), 8);
}

}  // namespace
}  // namespace ostdrv::test
