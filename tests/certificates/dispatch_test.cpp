#include <cstdint>
#include <string>

#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

std::string called;
const void *first_argument;

// Every operation of a table leaves its name and returns a status of its own.
template <int Status>
int with_path(const char *path) {
    called += std::to_string(Status) + " ";
    first_argument = path;
    return Status;
}
template <int Status>
int without() {
    called += std::to_string(Status) + " ";
    return Status;
}
int with_key(const uint8_t *key, const char *const *paths, uint8_t *verified) {
    called += "27 ";
    first_argument = key;
    EXPECT_EQ(paths, nullptr);
    EXPECT_EQ(verified, nullptr);
    return 27;
}

void call_all(int (*expect)(int operation)) {
    const char *const path = "some path";
    const uint8_t key[64] = {};
    EXPECT_EQ(tpm_cert_save_signer_cert(path), expect(1));
    EXPECT_EQ(tpm_cert_save_device_cert(path), expect(2));
    EXPECT_EQ(tpm_cert_lock_signer_cert(), expect(3));
    EXPECT_EQ(tpm_cert_lock_device_cert(), expect(4));
    EXPECT_EQ(tpm_cert_export_signer_cert(path), expect(5));
    EXPECT_EQ(tpm_cert_export_device_cert(path), expect(6));
    EXPECT_EQ(first_argument, path);
    EXPECT_EQ(tpm_cert_verify(key, nullptr, nullptr), expect(7));
    EXPECT_EQ(first_argument, key) << "arguments reach the operation unchanged and unchecked";
}

TEST_F(ProvisionedAtecc, EntryPointsForwardToTheTableOfTheStoredVersion) {
    EXPECT_EQ(g_tpm_cert_api, nullptr);
    tpm_cert_api_impl_1 = {with_path<21>, with_path<22>, without<23>, without<24>,
                           with_path<25>, with_path<26>, with_key};
    ASSERT_EQ(tpm_cert_set_serial_number(pattern(3).data(), 3), 0);
    call_all([](int operation) { return 20 + operation; });
    EXPECT_EQ(called, "21 22 23 24 25 26 27 ");
    EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_1);
}

TEST_F(ProvisionedAtecc, AMissingOperationIsFourteenAndAFailedReadThirteen) {
    EXPECT_EQ(tpm_cert_api_impl_0.export_signer_cert, nullptr);
    for (const uint8_t version : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        sim::change_atecc([&](sim::AteccState &chip) { chip.slot(7)[35] = version; });
        EXPECT_EQ(tpm_cert_export_signer_cert(path("x").c_str()), 14);
        EXPECT_EQ(tpm_cert_export_device_cert(path("x").c_str()), 14);
        EXPECT_EQ(g_tpm_cert_api, &tpm_cert_api_impl_0);
    }
    EXPECT_FALSE(exists("x"));

    first_argument = "some path";
    sim::fault_plan::start();
    sim::fault_plan::add({.name = "atcab_read_bytes_zone", .lasting = true});
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 13);
    EXPECT_EQ(g_tpm_cert_api, nullptr);
    EXPECT_EQ(__get_tpm_cert_api(), nullptr);
    sim::fault_plan::stop();
}

}  // namespace
}  // namespace ostdrv::test
