// ATECC worlds with a certificate chain: an authority, a signer it issued, a device the signer issued for the chip's
// own key.
#ifndef OSTDRV_TESTS_CERTIFICATES_CHAINS_HPP
#define OSTDRV_TESTS_CERTIFICATES_CHAINS_HPP

#include <map>
#include <string>

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

namespace ostdrv::test {

class AteccChain : public ProvisionedAtecc {
 protected:
    Authority root{"Test Root CA"};
    Authority signer{"Test Signer 01"};
    PublicKey device_key{};
    Bytes signer_cert;
    Bytes device_cert;

    void SetUp() override {
        ProvisionedAtecc::SetUp();
        ASSERT_EQ(tpm_genkey(device_key.data(), 64), 0);
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = signer.issue("Device 0001", device_key, {.extensions = false, .tbs_size = 300});
    }

    // Layout 1 from now on.
    static void set_serial(const std::string &serial = "OSTRAVEL000000042") {
        const auto *bytes = reinterpret_cast<const uint8_t *>(serial.data());
        ASSERT_EQ(tpm_cert_set_serial_number(bytes, static_cast<int>(serial.size())), 0);
    }
    std::string pem_file(const std::string &name, const Bytes &der) { return put(name, pem_of(der)); }
    Bytes exported(int (*operation)(const char *)) {
        EXPECT_EQ(operation(path("exported.pem").c_str()), 0);
        return der_of(get("exported.pem"));
    }
    void save_chain() {
        ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("signercert.cert", signer_cert).c_str()), 0);
        ASSERT_EQ(tpm_cert_save_device_cert(pem_file("devcert.cert", device_cert).c_str()), 0);
    }
};

// What a verification says: its status and its verdict, which starts as neither yes nor no.
struct Verdict {
    int status;
    int verified;
    bool operator==(const Verdict &) const = default;
};
inline std::ostream &operator<<(std::ostream &out, const Verdict &v) {
    return out << "status " << v.status << ", verified " << v.verified;
}
inline constexpr Verdict sound{0, 1};
inline constexpr Verdict unsound{0, 0};

inline Verdict verify(const PublicKey &ca, const char *const *paths = nullptr) {
    uint8_t verified = 7;
    const int status = tpm_cert_verify(ca.data(), paths, &verified);
    return {status, verified};
}

}  // namespace ostdrv::test

#endif
