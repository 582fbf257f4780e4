#include <map>

#include "certificates/trustx_world.hpp"

namespace ostdrv::test {
namespace {

constexpr std::uint16_t public_key_object = 0xF1D6, key_object = 0xE0F1;

class CsrTrustx : public TrustxWorld {
 protected:
    void SetUp() override {
        TrustxWorld::SetUp();
        set_serial("OSTRAVEL-00000017");
        std::uint8_t public_key[91];
        EXPECT_EQ(tpm_genkey(public_key, 68), 0);
    }
    static void set_serial(const std::string &serial) {
        EXPECT_EQ(tpm_cert_set_serial_number(reinterpret_cast<const std::uint8_t *>(serial.data()),
                                             static_cast<int>(serial.size())),
                  0);
    }
    int request() const { return tpm_cert_gencsr_trustx(path("out").c_str()); }
    Bytes der() const { return der_of(get("out"), "CERTIFICATE REQUEST"); }
};

TEST_F(CsrTrustx, RequestsAreSoundForEverySerialNumber) {
    const std::string zeros(17, '\0');
    for (const std::string serial : {"ABCDE", "OSTRAVEL-00000017", "OSTRAVEL-00000017-AND-MORE-OF-IT"}) {
        set_serial(serial);
        ASSERT_EQ(request(), 0);
        EXPECT_TRUE(request_is_sound(der(), (serial + zeros).substr(0, 17), *sim::trustx::public_key(key_object)));
    }
    const Bytes made = der();
    Bytes signable(made.begin() + 3, made.begin() + 151);
    const auto clear = [](auto &&bytes) {
        std::fill_n(bytes + 19, 17, 0);
        std::fill_n(bytes + 82, 64, 0);
        return Bytes(bytes, bytes + 148);
    };
    EXPECT_EQ(clear(signable.begin()), clear(g_csr_template + 3)) << "both chips sign the same";
}

TEST_F(CsrTrustx, BytesAndLinesFitEverySignatureLength) {
    std::map<std::size_t, std::size_t> seen;
    for (int i = 0; i < 4000 && seen.size() < 4; ++i) {
        ASSERT_EQ(request(), 0);
        const Bytes bytes = der();
        const std::size_t signature = bytes.size() - 168;
        if (seen[signature]++ > 0) continue;
        const auto byte = [&](std::size_t value) { return static_cast<std::uint8_t>(value); };
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 6),
                  (Bytes{0x30, 0x81, byte(165 + signature), 0x30, 0x81, 0x91}));
        EXPECT_EQ(Bytes(bytes.begin() + 151, bytes.begin() + 168),
                  (Bytes{0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02, 0x03,
                         byte(signature + 3), 0x00, 0x30, byte(signature)}));
        EXPECT_TRUE(request_is_sound(bytes, "OSTRAVEL-00000017", *sim::trustx::public_key(key_object)));

        std::string base64 = pem_of(bytes, "X"), text = get("out");
        base64 = base64.substr(base64.find('\n') + 1);
        base64 = base64.substr(0, base64.find("-----END"));
        EXPECT_EQ(text, "-----BEGIN CERTIFICATE REQUEST-----\n" + base64 + "-----END CERTIFICATE REQUEST-----\n");
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7) << "five lines for 313 to 320 characters";
    }
    for (const std::size_t length : {67u, 68u, 69u, 70u}) EXPECT_TRUE(seen.contains(length)) << length;
}

TEST_F(CsrTrustx, TheChipIsAskedInOneSessionThatEndsBeforeTheFile) {
    const Calls made = calls_of([&] { EXPECT_EQ(request(), 0); });
    EXPECT_EQ(made,
              (Calls{"trustX_Open()", "optiga_util_read_data(0xf1d0, 0, 1024)", "trustX_Close()", "trustX_Open()",
                     "optiga_util_read_data(0xf1d6, 0, 1024)", "trustX_sha256(148)",
                     "optiga_crypt_ecdsa_sign(32, 0xe0f1, 1024)", "trustX_Close()",
                     "trustX_encodeBase64(4096, " + std::to_string(der().size()) + ")", "fopen(" + path("out") + ", w)",
                     "fwrite(" + std::to_string(get("out").size()) + " '')", "fclose()"}));
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_cert_gencsr_trustx(nullptr), 3); }), Calls());
    EXPECT_EQ(tpm_cert_gencsr_trustx(path("no/such").c_str()), 8);
}

TEST_F(CsrTrustx, EveryFailureHasItsStatusAndLeavesTheFileAlone) {
    fail_each_call([&] { return request(); },
                   [&](int status, const std::string &call) {
                       const bool unchecked = call == "trustX_Close" || call == "fwrite" || call == "fclose";
                       EXPECT_EQ(status, unchecked ? 0 : call == "trustX_encodeBase64" ? 17 : call == "fopen" ? 8 : 2);
                       EXPECT_EQ(exists("out"), unchecked);
                   });
}

TEST_F(CsrTrustx, RefusesWhatIsNoP256KeyOrSignature) {
    put("out", "kept");
    // A chip that reports success and leaves the lengths as they were announces 1024 bytes of key or signature.
    const auto silent = [&](sim::Fault fault) {
        fault.has_result = true;
        return with_fault(std::move(fault), [&] { return request(); });
    };
    EXPECT_EQ(silent({.name = "optiga_util_read_data", .nth = 2}), 2);
    EXPECT_EQ(silent({.name = "optiga_crypt_ecdsa_sign"}), 2);
    for (const std::size_t size : {0u, 65u, 90u, 92u, 140u}) {
        sim::trustx::poke(public_key_object, Bytes(size, 1));
        EXPECT_EQ(request(), 2) << size;
    }
    EXPECT_EQ(get("out"), "kept");
    EXPECT_EQ(sim::trustx::open_sessions(), 0);
}

}  // namespace
}  // namespace ostdrv::test
