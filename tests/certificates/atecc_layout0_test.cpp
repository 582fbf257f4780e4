#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

using Layout0 = AteccChain;

TEST_F(Layout0, OnI2cTheNamePlaysNoPartAndTheSignersKeyIsLockedFirst) {
    EXPECT_EQ(tpm_cert_save_signer_cert(pem_file("a.pem", signer_cert).c_str()), 0);
    const PublicKey key = signer.public_key();
    EXPECT_TRUE(std::equal(key.begin(), key.end(), inspect<AteccState>().content(11).begin()));
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_lock_signer_cert(), 0); }),
              (Calls{"atcab_get_zone_size(2, 7)", "atcab_read_bytes_zone(2, 7, 0, 36)", "atcab_is_slot_locked(11)",
                     "atcab_lock_data_slot(11)", "atcab_is_slot_locked(10)", "atcab_lock_data_slot(10)"}));
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 0) << "locked slots count as locked";
    EXPECT_EQ(tpm_cert_save_signer_cert(path("a.pem").c_str()), 2) << "the chip refuses";
    EXPECT_EQ(calls_starting("atcab_lock", [] { EXPECT_EQ(tpm_cert_lock_device_cert(), 0); }),
              Calls{"atcab_lock_data_slot(9)"});
}

class UsbKit : public Layout0 {
 protected:
    void SetUp() override { start(true); }
    static Bytes eeprom(long offset, size_t size) {
        const auto all = inspect<sim::atecc::UsbKit>().eeprom;
        return {all.begin() + offset, all.begin() + offset + static_cast<long>(size)};
    }
    static Bytes entry(size_t address, size_t length) {
        return {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address), static_cast<uint8_t>(length >> 8),
                static_cast<uint8_t>(length)};
    }
};

TEST_F(UsbKit, CopiesAndDirectoryFollowTheFileName) {
    const std::string signer_file = pem_file("signercert.cert", signer_cert);
    ASSERT_EQ(tpm_cert_save_signer_cert(signer_file.c_str()), 0);
    EXPECT_EQ(eeprom(33, 1)[0], 0xDD);
    EXPECT_NE(eeprom(32, 1)[0], 0xDD);
    EXPECT_EQ(verify(root.public_key()), (Verdict{2, 0})) << "no entry for the device yet";
    save_chain();
    EXPECT_EQ(eeprom(32, 2), (Bytes{0xDD, 0xDD}));
    EXPECT_EQ(eeprom(34, 4), entry(1280, device_cert.size()));
    EXPECT_EQ(eeprom(1280, device_cert.size()), device_cert);
    EXPECT_EQ(eeprom(38, 4), entry(256, signer_cert.size()));
    EXPECT_EQ(eeprom(256, signer_cert.size()), signer_cert);

    // The name decides the entry, the row that was called decides the slots.
    const Bytes slot_10 = inspect<AteccState>().content(10);
    ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("devcert.cert", signer_cert).c_str()), 0);
    EXPECT_EQ(eeprom(1280, signer_cert.size()), signer_cert);
    EXPECT_EQ(inspect<AteccState>().content(10), slot_10);
    // The templates come from the EEPROM: the files are not needed any more.
    save_chain();
    std::filesystem::remove(signer_file);
    EXPECT_EQ(verify(root.public_key()), sound);

    const auto chip = inspect<AteccState>();
    const auto save = [&] { return tpm_cert_save_signer_cert(pem_file("signercert.cert", device_cert).c_str()); };
    EXPECT_EQ(with_fault({.name = "atcab_eeprom_write", .nth = 2}, save), 2);
    EXPECT_EQ(inspect<AteccState>(), chip) << "the chip comes after the kit's EEPROM";
    // A directory whose length is larger than any certificate's.
    change<sim::atecc::UsbKit>([](sim::atecc::UsbKit &kit) { kit.eeprom[40] = kit.eeprom[41] = 0x04; });
    EXPECT_EQ(verify(root.public_key()), (Verdict{2, 0}));
}

}  // namespace
}  // namespace ostdrv::test
