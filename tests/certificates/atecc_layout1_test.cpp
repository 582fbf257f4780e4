#include <algorithm>
#include <cstring>

#include "certificates/chains.hpp"
#include "core/der.hpp"

namespace ostdrv::test {
namespace {

class Layout1 : public AteccChain {
 protected:
    void SetUp() override {
        AteccChain::SetUp();
        set_serial();
    }
    // The device's slots as one run of bytes.
    static Bytes device_slots() {
        Bytes bytes;
        for (unsigned slot = 11; slot <= 15; ++slot) sim::append(bytes, sim::look_into_slot(slot));
        return bytes;
    }
    static void poke(unsigned slot, const Bytes &bytes) {
        sim::change_atecc([&](sim::AteccState &chip) { std::ranges::copy(bytes, chip.slot(slot).begin()); });
    }
};

TEST_F(Layout1, EveryShapeOfCertificateComesBackByteForByte) {
    int shapes = 0;
    const Authority issuer("R");  // short names leave room for small certificates
    const Authority subject("S");
    for (const bool extensions : {false, true})
        for (const size_t tbs : {size_t{0}, size_t{240}, size_t{256}, size_t{258}, size_t{260}, size_t{359},
                                 size_t{360}, size_t{415}, size_t{416}})
            for (const auto &[r, s] : {std::pair<size_t, size_t>{32, 32}, {33, 33}, {31, 33}, {32, 31}}) {
                if (extensions && tbs != 0 && tbs < 359) continue;  // they need the room
                const Bytes cert =
                    issuer.issue(subject, {.extensions = extensions, .tbs_size = tbs, .r_length = r, .s_length = s});
                const size_t size = parts_of(cert).tbs_size;
                SCOPED_TRACE(size);
                const std::string file = pem_file("cert.pem", cert);
                if (get("cert.pem").size() > 1024 || size > 416) continue;
                ASSERT_EQ(tpm_cert_save_signer_cert(file.c_str()), 0);
                EXPECT_EQ(exported(tpm_cert_export_signer_cert), cert);
                ++shapes;
                if (size > 360) continue;
                ASSERT_EQ(tpm_cert_save_device_cert(file.c_str()), 0);
                EXPECT_EQ(exported(tpm_cert_export_device_cert), cert);
            }
    EXPECT_GE(shapes, 30);
}

TEST_F(Layout1, WhatDoesNotFitIsRefusedBeforeTheFirstWrite) {
    const Bytes signer_too_long = root.issue(signer, {.extensions = false, .tbs_size = 417});
    const Bytes device_too_long = root.issue(signer, {.extensions = false, .tbs_size = 361});
    Bytes bad_signature = signer_cert;
    bad_signature[parts_of(signer_cert).integers_offset] = 0x04;  // no INTEGER
    Bytes long_integer = signer_cert;
    long_integer[parts_of(signer_cert).integers_offset + 1] = 0x60;  // beyond the certificate
    Bytes cut = signer_cert;
    cut.resize(cut.size() - 1);
    const std::string large = pem_of(signer_cert) + std::string(1024, '\n');

    const auto before = sim::look_into_atecc();
    EXPECT_EQ(tpm_cert_save_signer_cert(pem_file("c", signer_too_long).c_str()), 17);
    EXPECT_EQ(tpm_cert_save_device_cert(pem_file("c", device_too_long).c_str()), 17);
    for (const auto save : {tpm_cert_save_signer_cert, tpm_cert_save_device_cert}) {
        EXPECT_EQ(save(nullptr), 3);
        EXPECT_EQ(save(path("missing").c_str()), 2);
        EXPECT_EQ(save(put("c", "not PEM").c_str()), 2);
        EXPECT_EQ(save(put("c", large).c_str()), 2);
    }
    for (const Bytes &bad : {bad_signature, long_integer, cut}) {
        const int status = tpm_cert_save_signer_cert(pem_file("c", bad).c_str());
        EXPECT_TRUE(status == 2 || status == 9) << status;
    }
    EXPECT_EQ(sim::look_into_atecc(), before);
}

TEST_F(Layout1, ADeviceCertificateFillsOnlyTheSlotsItNeeds) {
    // The smallest certificates are not reached with a real subject: 300 bytes are five chunks, the last of 12.
    poke(15, Bytes(72, 0xAB));
    const std::string file = pem_file("c", device_cert);
    const Calls calls = calls_of([&] { EXPECT_EQ(tpm_cert_save_device_cert(file.c_str()), 0); });
    Calls writes;
    std::ranges::copy_if(calls, std::back_inserter(writes), [](auto &c) { return c.starts_with("atcab_write_bytes"); });
    EXPECT_EQ(writes, (Calls{"atcab_write_bytes_zone(2, 11, 0, 72)", "atcab_write_bytes_zone(2, 12, 0, 72)",
                             "atcab_write_bytes_zone(2, 13, 0, 72)", "atcab_write_bytes_zone(2, 14, 0, 72)",
                             "atcab_write_bytes_zone(2, 15, 0, 12)", "atcab_write_bytes_zone(2, 9, 0, 64)"}));
    Bytes expected(device_cert.begin() + 4, device_cert.begin() + 304);
    expected.resize(360, 0xAB);
    EXPECT_EQ(device_slots(), expected) << "the rest keeps what it held";
}

TEST_F(Layout1, TheFirstFailingWriteEndsASave) {
    const std::string file = pem_file("c", device_cert);
    const auto save = [&] { return tpm_cert_save_device_cert(file.c_str()); };
    EXPECT_EQ(with_fault({.name = "atcab_write_bytes_zone", .nth = 3}, save), 2);
    EXPECT_EQ(sim::fault_plan::log().back(), "atcab_write_bytes_zone(2, 13, 0, 72)");
    sim::change_atecc([](sim::AteccState &chip) { chip.config[89] &= static_cast<uint8_t>(~0x10); });  // slot 12
    EXPECT_EQ(save(), 4);
}

TEST_F(Layout1, LocksGoInOrderAndStopAtAFailure) {
    save_chain();
    const auto locked = [](unsigned slot) {
        uint8_t is = 0;
        EXPECT_EQ(tpm_is_slot_locked(static_cast<uint16_t>(slot), &is), 0);
        return is == 1;
    };
    EXPECT_EQ(with_fault({.name = "atcab_lock_data_slot", .nth = 3}, tpm_cert_lock_device_cert), 2);
    EXPECT_EQ(sim::fault_plan::log().back(), "atcab_lock_data_slot(13)");
    for (const unsigned slot : {11u, 12u}) EXPECT_TRUE(locked(slot));
    for (const unsigned slot : {13u, 14u, 15u, 9u}) EXPECT_FALSE(locked(slot));
    EXPECT_EQ(tpm_cert_lock_device_cert(), 0);
    EXPECT_EQ(tpm_cert_lock_signer_cert(), 0);
    for (const unsigned slot : {8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u}) EXPECT_TRUE(locked(slot));
    EXPECT_FALSE(locked(7));
    EXPECT_EQ(tpm_cert_save_signer_cert(pem_file("c", signer_cert).c_str()), 4);
    EXPECT_EQ(exported(tpm_cert_export_signer_cert), signer_cert) << "still there to read";
}

TEST_F(Layout1, TheRebuiltBytesFollowTheTable) {
    Bytes tbs(304, 0x55);
    std::memcpy(tbs.data(), "\x30\x82\x01\x2C", 4);
    Bytes signature(64, 0x01);
    const struct {
        uint8_t r0, s0;
        size_t total;
        uint8_t bit_string, sequence;
    } cases[] = {{0x01, 0x7F, 393, 0x47, 0x44}, {0x80, 0xFF, 395, 0x49, 0x46}, {0x80, 0x01, 394, 0x48, 0x45}};
    for (const auto &c : cases) {
        signature[0] = c.r0;
        signature[32] = c.s0;
        poke(8, tbs);
        poke(10, signature);
        const Bytes der = exported(tpm_cert_export_signer_cert);
        ASSERT_EQ(der.size(), c.total);
        EXPECT_EQ(der[3], static_cast<uint8_t>(c.total - 4));
        EXPECT_EQ(der[320], 0x03);
        EXPECT_EQ(der[321], c.bit_string);
        EXPECT_EQ(der[324], c.sequence);
    }
}

TEST_F(Layout1, ForeignSlotsNeverReachBeyondWhatIsHeld) {
    const struct {
        const char *what;
        Bytes header;
        int signer, device;
    } cases[] = {{"zeros", {0, 0, 0, 0}, 0, 0},
                 {"ones", {0xFF, 0xFF, 0xFF, 0xFF}, 15, 15},
                 {"most a signer holds", {0x30, 0x82, 0x01, 0x9C}, 0, 15},
                 {"one more", {0x30, 0x82, 0x01, 0x9D}, 15, 15},
                 {"most a device holds", {0x30, 0x82, 0x01, 0x64}, 0, 0},
                 {"one more for a device", {0x30, 0x82, 0x01, 0x65}, 0, 15},
                 {"one-byte length", {0x30, 0x81, 0xF0, 0xA0}, 0, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        poke(8, c.header);
        poke(11, c.header);
        for (const unsigned slot : {9u, 10u}) poke(slot, Bytes(72, c.header[0]));
        EXPECT_EQ(tpm_cert_export_signer_cert(path("s").c_str()), c.signer);
        EXPECT_EQ(tpm_cert_export_device_cert(path("d").c_str()), c.device);
        const int status = verify(root.public_key()).status;
        EXPECT_TRUE(c.signer == 0 ? status == 0 || status == 2 : status == 15) << status;
    }
}

TEST_F(Layout1, ExportsReportTheChipBeforeThePath) {
    save_chain();
    const auto to_nowhere = [] { return tpm_cert_export_device_cert(nullptr); };
    EXPECT_EQ(to_nowhere(), 8);
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone", .nth = 2}, to_nowhere), 2);
    const std::string file = path("out.pem");
    const auto to_file = [&] { return tpm_cert_export_signer_cert(file.c_str()); };
    EXPECT_EQ(with_fault({.name = "atcacert_encode_pem_cert"}, to_file), 15);
    EXPECT_FALSE(exists("out.pem"));
    EXPECT_EQ(with_fault({.name = "fwrite"}, to_file), 8);
    EXPECT_EQ(with_fault({.name = "fclose"}, to_file), 8);
}

}  // namespace
}  // namespace ostdrv::test
