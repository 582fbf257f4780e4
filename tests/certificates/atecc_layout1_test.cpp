#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

struct Layout1 : OnLayout1 {
    static void poke(unsigned slot, const Bytes &bytes) {
        change<AteccState>([&](AteccState &chip) { std::ranges::copy(bytes, chip.slot(slot).begin()); });
    }
};

TEST_F(Layout1, EveryShapeOfCertificateComesBackByteForByte) {
    const Authority issuer("R"), subject("S");  // short names leave room for small certificates
    for (const size_t tbs : {240u, 256u, 258u, 260u, 360u, 416u})
        for (const auto &[r, s] : {std::pair<size_t, size_t>{32, 32}, {33, 33}, {31, 33}, {32, 31}}) {
            SCOPED_TRACE(testing::Message() << tbs << " r " << r << " s " << s);
            const Bytes cert =
                issuer.issue(subject, {.extensions = tbs == 416, .tbs_size = tbs, .r_length = r, .s_length = s});
            ASSERT_EQ(save_signer(cert), 0);
            EXPECT_EQ(exported(tpm_cert_export_signer_cert), cert);
            if (tbs > 360) continue;
            ASSERT_EQ(save_device(cert), 0);
            EXPECT_EQ(exported(tpm_cert_export_device_cert), cert);
        }
}

TEST_F(Layout1, WhatDoesNotFitIsRefusedBeforeTheFirstWrite) {
    const Bytes signer_too_long = root.issue(signer, {.extensions = false, .tbs_size = 417});
    const Bytes device_too_long = root.issue(signer, {.extensions = false, .tbs_size = 361});
    Bytes no_integer = signer_cert, cut = signer_cert, long_integer = root.issue(signer, {.s_length = 31});
    no_integer[parts_of(signer_cert).integers_offset] = 0x04;
    cut.pop_back();
    ++long_integer[long_integer.size() - 32];  // s, which ends the certificate
    // A text whose lines the listing shows as elements of their own: no to-be-signed part, and a signature at byte 60.
    const std::string lines = "\nx\nx\n 9\n   60:d=1  hl=2 l=  71 prim: B\n";
    Bytes no_tbs{0x0C, 0x81, 0x96};
    no_tbs.insert(no_tbs.end(), lines.begin(), lines.end());
    no_tbs.resize(3 + 0x96, 'x');
    for (const std::size_t integer : {65u, 99u}) no_tbs[integer] = 0x02, no_tbs[integer + 1] = 0x20;

    const auto before = inspect<AteccState>();
    EXPECT_EQ(save_signer(signer_too_long), 17);
    EXPECT_EQ(save_device(device_too_long), 17);
    for (const auto &[bad, status] : {std::pair(no_integer, 2), {long_integer, 2}, {cut, 9}, {no_tbs, 2}})
        EXPECT_EQ(save_signer(bad), status);
    EXPECT_EQ(inspect<AteccState>(), before);
}

TEST_F(Layout1, ADeviceCertificateFillsOnlyTheSlotsItNeeds) {
    // 300 bytes are five chunks, the last of 12.
    poke(15, Bytes(72, 0xAB));
    std::string written;
    for (const std::string &call : calls_of([&] { EXPECT_EQ(save_device(device_cert), 0); }))
        if (call.starts_with("atcab_write_bytes_zone")) written += call.substr(22);
    EXPECT_EQ(written, "(2, 11, 0, 72)(2, 12, 0, 72)(2, 13, 0, 72)(2, 14, 0, 72)(2, 15, 0, 12)(2, 9, 0, 64)");
    EXPECT_EQ(inspect<AteccState>().content(15)[12], 0xAB) << "the rest keeps what it held";
}

TEST_F(Layout1, NumbersOfASignatureAreAsShortAsTheyCanBe) {
    save_chain();
    Bytes signature(64);
    signature[31] = 0x01;
    signature[62] = 0x80;
    poke(10, signature);
    const Bytes der = exported(tpm_cert_export_signer_cert);
    EXPECT_EQ(Bytes(der.end() - 13, der.end()),
              (Bytes{0x03, 0x0B, 0x00, 0x30, 0x08, 0x02, 0x01, 0x01, 0x02, 0x03, 0x00, 0x80, 0x00}));
}

TEST_F(Layout1, ForeignSlotsNeverReachBeyondWhatIsHeld) {
    const struct {
        Bytes header;
        int signer, device;
    } cases[] = {{{0, 0, 0, 0}, 0, 0},
                 {{0xFF, 0xFF, 0xFF, 0xFF}, 15, 15},
                 {{0x30, 0x82, 0x01, 0x9C}, 0, 15},  // the most a signer holds
                 {{0x30, 0x82, 0x01, 0x9D}, 15, 15},
                 {{0x30, 0x82, 0x01, 0x64}, 0, 0},  // the most a device holds
                 {{0x30, 0x82, 0x01, 0x65}, 0, 15},
                 {{0x30, 0x81, 0xF0, 0xA0}, 0, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.header));
        poke(8, c.header);
        poke(11, c.header);
        for (const unsigned slot : {9u, 10u}) poke(slot, Bytes(72, c.header[0]));
        EXPECT_EQ(tpm_cert_export_signer_cert(path("s").c_str()), c.signer);
        EXPECT_EQ(tpm_cert_export_device_cert(path("d").c_str()), c.device);
        const int status = verify().first;
        EXPECT_TRUE(c.signer == 0 ? status == 0 || status == 2 : status == 15) << status;
    }
}

TEST_F(Layout1, ExportsReportTheChipBeforeThePath) {
    save_chain();
    const auto to_nowhere = [] { return tpm_cert_export_device_cert(nullptr); };
    EXPECT_EQ(to_nowhere(), 8);
    EXPECT_EQ(with_fault({.name = "atcab_read_bytes_zone", .nth = 2}, to_nowhere), 2);
    // A slot that gives no byte, between others.
    EXPECT_EQ(with_fault({.name = "atcab_get_zone_size", .nth = 3, .has_result = true}, to_nowhere), 5);
    const std::string file = path("out.pem");
    const auto to_file = [&] { return tpm_cert_export_signer_cert(file.c_str()); };
    EXPECT_EQ(with_fault({.name = "atcacert_encode_pem_cert"}, to_file), 15);
    EXPECT_FALSE(exists("out.pem"));
    EXPECT_EQ(with_fault({.name = "fclose"}, to_file), 8);
}

}  // namespace
}  // namespace ostdrv::test
