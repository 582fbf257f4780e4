#include <cstring>

#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

TEST(CsrTemplate, IsTheTableToTheByte) {
    const struct {
        size_t offset;
        std::string bytes;
    } fields[] = {
        {0,
         std::string("\x30\x81\xEA\x30\x81\x91\x02\x01\x00\x30\x2F\x31\x1A\x30\x18\x06\x03\x55\x04\x03\x0C\x11", 22)},
        {39, std::string("\x31\x11\x30\x0F\x06\x03\x55\x04\x0A\x0C\x08Ostravel", 19)},
        {58, std::string("\x30\x59\x30\x13\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01"
                         "\x07\x03\x42\x00\x04",
                         27)},
        {149, std::string("\xA0\x00\x30\x0A\x06\x08\x2A\x86\x48\xCE\x3D\x04\x03\x02\x03\x48\x00\x30\x45\x02\x20", 21)},
        {202, std::string("\x02\x21\x00", 3)}};
    for (const auto &f : fields)
        EXPECT_EQ(std::memcmp(g_csr_template + f.offset, f.bytes.data(), f.bytes.size()), 0) << f.offset;
}

TEST(CsrDefinition, DescribesTheTemplate) {
    EXPECT_EQ(g_csr_def.template_id, 3);
    EXPECT_EQ(g_csr_def.chain_id, 0);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.zone, 2);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.slot, 0) << "set before each use";
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 0);
    EXPECT_EQ(g_csr_def.issue_date_format, 1);
    EXPECT_EQ(g_csr_def.expire_date_format, 1);
    EXPECT_EQ(g_csr_def.tbs_cert_loc.offset, 3);
    EXPECT_EQ(g_csr_def.tbs_cert_loc.count, 148);
    EXPECT_EQ(g_csr_def.public_key_dev_loc.zone, 2);
    EXPECT_EQ(g_csr_def.public_key_dev_loc.is_genkey, 1);
    EXPECT_EQ(g_csr_def.public_key_dev_loc.count, 64);
    EXPECT_EQ(g_csr_def.comp_cert_dev_loc.zone, 7);
    EXPECT_EQ(g_csr_def.comp_cert_dev_loc.count, 0);
    const uint16_t elements[8][2] = {{85, 64}, {163, 74}, {}, {}, {}, {22, 0}, {}, {}};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(g_csr_def.std_cert_elements[i].offset, elements[i][0]) << i;
        EXPECT_EQ(g_csr_def.std_cert_elements[i].count, elements[i][1]) << i;
    }
    EXPECT_EQ(g_csr_def.cert_template, g_csr_template);
    EXPECT_EQ(g_csr_def.cert_template_size, 237);
    EXPECT_EQ(g_csr_def.ca_cert_def, nullptr);
}

TEST_F(AteccChain, RequestsCarrySeventeenBytesOfSerialAndTheDeviceKey) {
    const std::string file = path("device.csr");
    for (const std::string &serial : {std::string("OSTRAVEL000000042"), std::string("SHORT"), std::string(34, 'L')}) {
        set_serial(serial);
        // Signatures differ in length from call to call: several of each.
        for (int i = 0; i < 8; ++i) {
            ASSERT_EQ(tpm_cert_gencsr(file.c_str()), 0);
            const Bytes request = der_of(get("device.csr"), "CERTIFICATE REQUEST");
            std::string name = serial.substr(0, 17);
            name.resize(17, '\0');
            EXPECT_TRUE(request_is_sound(request, name, device_key)) << serial;
        }
    }
    EXPECT_EQ(g_csr_def.std_cert_elements[STDCERT_CERT_SN].count, 17);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.slot, 7);
    EXPECT_EQ(g_csr_def.cert_sn_dev_loc.count, 17);
}

TEST_F(AteccChain, AFailedRequestLeavesTheFileAlone) {
    set_serial();
    const std::string file = put("device.csr", "old");
    const auto request = [&] { return tpm_cert_gencsr(file.c_str()); };
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_gencsr(nullptr), 3); }), Calls{});
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone"}, request), 2);
    EXPECT_EQ(with_fault({.name = "atcacert_create_csr_pem"}, request), 2);
    EXPECT_EQ(with_fault({.name = "fopen"}, request), 8);
    EXPECT_EQ(get("device.csr"), "old");
    EXPECT_EQ(with_fault({.name = "fwrite"}, request), 0) << "the write's outcome is not checked";
    EXPECT_EQ(tpm_cert_gencsr(path("no/such/directory").c_str()), 8);
}

}  // namespace
}  // namespace ostdrv::test
