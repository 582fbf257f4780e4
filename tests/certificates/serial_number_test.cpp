#include <cstring>

#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

const uint8_t *bytes(const std::string &text) { return reinterpret_cast<const uint8_t *>(text.data()); }

TEST_F(ProvisionedAtecc, TheRecordIsSerialZerosAndVersion) {
    const std::string serial(34, 'S');
    for (const int len : {34, 17, 1}) {
        EXPECT_EQ(tpm_cert_set_serial_number(bytes(serial), len), 0);
        std::array<uint8_t, 36> record{};
        std::fill_n(record.begin(), len, uint8_t{'S'});
        record[35] = 1;
        EXPECT_TRUE(std::ranges::equal(sim::look_into_slot(7), record));
    }
    EXPECT_EQ(calls_of([&] {
                  for (const int len : {35, 0, -1, INT32_MIN})
                      EXPECT_EQ(tpm_cert_set_serial_number(bytes(serial), len), 12);
              }),
              Calls{});
}

TEST_F(ProvisionedAtecc, ReadingGivesAsManyBytesAsWantedAndATerminator) {
    ASSERT_EQ(tpm_cert_set_serial_number(bytes("ABCDEFGHIJKLMNOPQ"), 17), 0);
    const struct {
        int wanted, reported;
        size_t stored;
        const char *text;
    } cases[] = {{40, 35, 36, "ABCDEFGHIJKLMNOPQ"},
                 {35, 35, 36, "ABCDEFGHIJKLMNOPQ"},
                 {34, 34, 35, "ABCDEFGHIJKLMNOPQ"},
                 {2, 2, 3, "AB"}};
    for (const auto &c : cases) {
        char serial[40];
        std::memset(serial, 0x7F, sizeof serial);
        int len = c.wanted;
        EXPECT_EQ(tpm_cert_get_serial_number(serial, &len), 0);
        EXPECT_EQ(len, c.reported);
        EXPECT_STREQ(serial, c.text);
        EXPECT_EQ(serial[c.stored - 1], 0);
        EXPECT_EQ(serial[c.stored], 0x7F) << "nothing beyond";
    }
    int len = 0;
    char serial[40];
    EXPECT_EQ(tpm_cert_get_serial_number(serial, &len), 3);
    len = 5;
    EXPECT_EQ(tpm_cert_get_serial_number(nullptr, &len), 3);

    const auto read = [&] { return tpm_cert_get_serial_number(serial, &len); };
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone"}, read), 2);
    EXPECT_STREQ(serial, "") << "an empty text after a failed read";
}

TEST_F(ProvisionedAtecc, WritingMovesToLayoutOneAndLockingFreezesBoth) {
    uint8_t version = 9;
    EXPECT_EQ(tpm_cert_get_version(&version), 0);
    EXPECT_EQ(version, 0xFF) << "a blank slot";
    EXPECT_EQ(__get_tpm_cert_api(), &tpm_cert_api_impl_0);
    ASSERT_EQ(tpm_cert_set_serial_number(bytes("ABC"), 3), 0);
    EXPECT_EQ(tpm_cert_get_version(&version), 0);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(__get_tpm_cert_api(), &tpm_cert_api_impl_1);
    EXPECT_EQ(tpm_cert_lock_serial_number(), 0);
    EXPECT_EQ(tpm_cert_set_serial_number(bytes("XYZ"), 3), 4);

    version = 9;
    EXPECT_EQ(with_fault({.name = "atcab_get_zone_size"}, [&] { return tpm_cert_get_version(&version); }), 2);
    EXPECT_EQ(version, 9) << "left alone by a failed read";
}

TEST_F(Trustx, TheRecordLivesInItsOwnObject) {
    EXPECT_EQ(tpm_cert_set_serial_number(bytes("ABC"), 3), 0);
    sim::Bytes record(36);
    std::memcpy(record.data(), "ABC", 3);
    record[35] = 1;
    EXPECT_EQ(sim::trustx::peek(0xF1D0), record);
    char serial[40];
    int len = 40;
    EXPECT_EQ(tpm_cert_get_serial_number(serial, &len), 0);
    EXPECT_STREQ(serial, "ABC");
    EXPECT_EQ(tpm_cert_lock_serial_number(), 0);
    EXPECT_EQ(sim::trustx::is_locked(0xF1D0), true);
    EXPECT_EQ(calls_of([] { EXPECT_EQ(__get_tpm_cert_api(), &tpm_trustx_cert_api_impl_1); }), Calls{})
        << "the version has no effect here";
}

}  // namespace
}  // namespace ostdrv::test
