#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

TEST_F(ProvisionedAtecc, EntryPointsForwardToTheTableOfTheStoredVersion) {
    EXPECT_EQ(g_tpm_cert_api, nullptr);
    for (const uint8_t version : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        change<AteccState>([&](AteccState &chip) { chip.slot(7)[35] = version; });
        EXPECT_EQ(tpm_cert_export_signer_cert(path("x").c_str()), 14) << "no such operation";
        EXPECT_EQ(tpm_cert_export_device_cert(path("x").c_str()), 14);
        EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_0);
    }
    ASSERT_EQ(set_serial("ABC"), 0);
    tpm_cert_api_impl_1.lock_signer_cert = [] { return 27; };
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 27);
    EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_1);
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone"}, tpm_cert_lock_signer_cert), 13);
    EXPECT_EQ(g_tpm_cert_api, nullptr);
}

}  // namespace
}  // namespace ostdrv::test
