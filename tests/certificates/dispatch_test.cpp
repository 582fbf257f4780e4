#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

const uint8_t key[64] = {};

// An operation with a status of its own, which arguments reach unchanged and unchecked.
int replaced(const uint8_t *given, const char *const *paths, uint8_t *verified) {
    EXPECT_EQ(given, key);
    EXPECT_EQ(paths, nullptr);
    EXPECT_EQ(verified, nullptr);
    return 27;
}

TEST_F(ProvisionedAtecc, EntryPointsForwardToTheTableOfTheStoredVersion) {
    EXPECT_EQ(g_tpm_cert_api, nullptr);
    tpm_cert_api_impl_1.verify = replaced;
    ASSERT_EQ(set_serial("ABC"), 0);
    EXPECT_EQ(tpm_cert_verify(key, nullptr, nullptr), 27);
    EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_1);

    for (const uint8_t version : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        sim::change_atecc([&](sim::AteccState &chip) { chip.slot(7)[35] = version; });
        EXPECT_EQ(tpm_cert_export_signer_cert(path("x").c_str()), 14) << "no such operation";
        EXPECT_EQ(tpm_cert_export_device_cert(path("x").c_str()), 14);
        EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_0);
    }
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone"}, tpm_cert_lock_signer_cert), 13);
    EXPECT_EQ(g_tpm_cert_api, nullptr);
}

}  // namespace
}  // namespace ostdrv::test
