// The record of the serial number, and the table of operations that its last byte chooses.
#include <cstring>

#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

TEST_F(ProvisionedAtecc, TheRecordIsSerialZerosAndVersion) {
    const Bytes serial(34, 'S');
    for (const int len : {34, 17, 1}) {
        EXPECT_EQ(tpm_cert_set_serial_number(serial.data(), len), 0);
        Bytes record(size_t(len), 'S');
        record.resize(36);
        record[35] = 1;
        EXPECT_EQ(inspect<AteccState>().content(7), record);
    }
    uint8_t version = 9;
    EXPECT_EQ(tpm_cert_get_version(&version), 0);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(calls_of([&] {
                  for (const int len : {35, 0, -1, INT32_MIN})
                      EXPECT_EQ(tpm_cert_set_serial_number(serial.data(), len), 12);
              }),
              Calls{});
    EXPECT_EQ(tpm_cert_lock_serial_number(), 0);
    EXPECT_EQ(tpm_cert_set_serial_number(serial.data(), 34), 4);
}

TEST_F(ProvisionedAtecc, ReadingGivesAsManyBytesAsWantedAndATerminator) {
    ASSERT_EQ(set_serial("ABCDEFGHIJKLMNOPQ"), 0);
    char serial[40];
    for (const auto &[wanted, given] : {std::pair{40, 35}, {35, 35}, {34, 34}, {1, 1}}) {
        std::memset(serial, 0x7F, sizeof serial);
        int len = wanted;
        EXPECT_EQ(tpm_cert_get_serial_number(serial, &len), 0);
        EXPECT_EQ(len, given);
        EXPECT_EQ(serial, std::string("ABCDEFGHIJKLMNOPQ").substr(0, size_t(given)));
        EXPECT_EQ(serial[given], 0);
        EXPECT_EQ(serial[given + 1], 0x7F) << "nothing beyond";
    }
    int len = 0;
    EXPECT_EQ(tpm_cert_get_serial_number(serial, &len), 3);
    len = 5;
    EXPECT_EQ(tpm_cert_get_serial_number(nullptr, &len), 3);

    const auto read = [&] { return tpm_cert_get_serial_number(serial, &len); };
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone"}, read), 2);
    EXPECT_STREQ(serial, "") << "an empty text after a failed read";
}

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

TEST_F(Trustx, TheRecordLivesInItsOwnObject) {
    EXPECT_EQ(set_serial("ABC"), 0);
    const Bytes record = inspect<TrustxState>().content(0xF1D0);
    EXPECT_EQ(std::string(record.begin(), record.end()), "ABC" + std::string(32, '\0') + '\1');
    EXPECT_EQ(tpm_cert_lock_serial_number(), 0);
    EXPECT_EQ(inspect<TrustxState>().object(0xF1D0).locked, true);
    EXPECT_EQ(calls_of([] { EXPECT_EQ(__get_tpm_cert_api(), &tpm_trustx_cert_api_impl_1); }), Calls{})
        << "the version has no effect here";
}

}  // namespace
}  // namespace ostdrv::test
