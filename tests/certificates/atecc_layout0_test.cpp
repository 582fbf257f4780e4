#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

using Layout0 = AteccChain;

TEST_F(Layout0, CertificatesAreKeptCompressed) {
    EXPECT_EQ(tpm_cert_save_signer_cert(pem_file("a.pem", signer_cert).c_str()), 0) << "on I2C the name plays no part";
    EXPECT_EQ(tpm_cert_save_device_cert(pem_file("b.pem", device_cert).c_str()), 0);
    const PublicKey key = signer.public_key();
    EXPECT_TRUE(std::equal(key.begin(), key.end(), sim::look_into_slot(11).begin()));
    const CertificateParts parts = parts_of(device_cert);
    EXPECT_NE(sim::look_into_slot(9), Bytes(72, 0xFF));
    EXPECT_NE(sim::look_into_slot(10), Bytes(72, 0xFF));
    EXPECT_EQ(device_cert[parts.integers_offset], 0x02);

    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_lock_signer_cert(), 0); }),
              (Calls{"atcab_get_zone_size(2, 7)", "atcab_read_bytes_zone(2, 7, 0, 36)", "atcab_is_slot_locked(11)",
                     "atcab_lock_data_slot(11)", "atcab_is_slot_locked(10)", "atcab_lock_data_slot(10)"}));
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 0) << "locked slots count as locked";
    EXPECT_EQ(tpm_cert_lock_device_cert(), 0);
    EXPECT_EQ(tpm_cert_save_signer_cert(path("a.pem").c_str()), 2) << "the chip refuses";
    EXPECT_EQ(with_fault({.name = "atcab_is_slot_locked"}, tpm_cert_lock_signer_cert), 2);
    EXPECT_EQ(sim::fault_plan::log().back(), "atcab_is_slot_locked(11)");
}

TEST_F(Layout0, FilesThatAreNoCertificatesAreRefused) {
    const auto before = sim::look_into_atecc();
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert}) {
        EXPECT_EQ(save(nullptr), 3);
        EXPECT_EQ(save(path("missing").c_str()), 2);
        EXPECT_EQ(save(put("c", "text").c_str()), 2);
        EXPECT_EQ(save(pem_file("c", Bytes(100, 0xFF)).c_str()), 9);
    }
    EXPECT_EQ(sim::look_into_atecc(), before);
    const char *const paths[] = {"/nonexistent", "/nonexistent"};
    EXPECT_EQ(verify(root.public_key(), paths), (Verdict{2, 0}));
}

class UsbKit : public Layout0 {
 protected:
    void SetUp() override {
        board.fit({.chip = "atecc608a", .usb = true});
        board.put("/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        ASSERT_EQ(g_atca_iface_cfg, &tpm_iface_config_hid);
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        ASSERT_EQ(tpm_genkey(device_key.data(), 64), 0);
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = signer.issue("Device 0001", device_key, {.extensions = false, .tbs_size = 300});
    }
    static Bytes eeprom(size_t offset, size_t size) {
        const auto all = sim::look_into_usb_eeprom();
        return {all.begin() + static_cast<long>(offset), all.begin() + static_cast<long>(offset + size)};
    }
    static Bytes entry(size_t address, size_t length) {
        return {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address), static_cast<uint8_t>(length >> 8),
                static_cast<uint8_t>(length)};
    }
};

TEST_F(UsbKit, CopiesAndDirectoryFollowTheFileName) {
    ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("signercert.cert", signer_cert).c_str()), 0);
    EXPECT_NE(eeprom(32, 1)[0], 0xDD);
    EXPECT_EQ(eeprom(33, 1)[0], 0xDD);
    EXPECT_EQ(eeprom(38, 4), entry(256, signer_cert.size()));
    EXPECT_EQ(eeprom(256, signer_cert.size()), signer_cert);

    ASSERT_EQ(tpm_cert_save_device_cert(pem_file("devcert.cert", device_cert).c_str()), 0);
    EXPECT_EQ(eeprom(32, 2), (Bytes{0xDD, 0xDD}));
    EXPECT_EQ(eeprom(34, 4), entry(1280, device_cert.size()));
    EXPECT_EQ(eeprom(38, 4), entry(256, signer_cert.size())) << "the other entry stays";
    EXPECT_EQ(eeprom(1280, device_cert.size()), device_cert);

    // The name decides the entry, the row that was called decides the slots.
    const Bytes slot_10 = sim::look_into_slot(10);
    ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("devcert.cert", signer_cert).c_str()), 0);
    EXPECT_EQ(eeprom(1280, signer_cert.size()), signer_cert);
    EXPECT_EQ(sim::look_into_slot(10), slot_10);
    // The templates come from the EEPROM: the files are not needed any more.
    ASSERT_EQ(tpm_cert_save_device_cert(pem_file("devcert.cert", device_cert).c_str()), 0);
    std::filesystem::remove(path("devcert.cert"));
    const char *const paths[] = {"signercert.cert", "devcert.cert"};
    EXPECT_EQ(verify(root.public_key(), paths), sound);
}

TEST_F(UsbKit, OtherNamesAndMissingEntriesAreRefused) {
    const auto before = sim::look_into_atecc();
    const auto kit = sim::look_into_usb_eeprom();
    const std::string file = pem_file("a.pem", signer_cert);
    EXPECT_EQ(tpm_cert_save_signer_cert(file.c_str()), 6);
    EXPECT_EQ(tpm_cert_save_signer_cert(nullptr), 3);
    EXPECT_EQ(sim::look_into_atecc(), before);
    EXPECT_EQ(sim::look_into_usb_eeprom(), kit);
    const char *const paths[] = {"signercert.cert", "devcert.cert"};
    EXPECT_EQ(verify(root.public_key(), paths), (Verdict{2, 0})) << "no entry yet";

    const std::string named = pem_file("signercert.cert", signer_cert);
    const auto save = [&] { return tpm_cert_save_signer_cert(named.c_str()); };
    EXPECT_EQ(with_fault({.name = "atcab_eeprom_read", .has_result = true, .result = 0xF1}, save), 2);
    EXPECT_EQ(with_fault({.name = "atcab_eeprom_write", .nth = 1}, save), 2);
    EXPECT_EQ(with_fault({.name = "atcab_eeprom_write", .nth = 2}, save), 2);
    EXPECT_EQ(sim::look_into_atecc(), before) << "the chip comes after the kit's EEPROM";

    // A directory that lies about lengths.
    ASSERT_EQ(save(), 0);
    sim::change_usb_eeprom([](sim::UsbEeprom &eeprom) { eeprom[40] = eeprom[41] = 0xFF; });
    EXPECT_EQ(verify(root.public_key(), paths), (Verdict{2, 0}));
}

}  // namespace
}  // namespace ostdrv::test
