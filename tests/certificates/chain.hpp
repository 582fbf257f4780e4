// A board whose chip is in one of the states that matter, and the chain that belongs to it.
#ifndef OSTDRV_TESTS_CERTIFICATES_CHAIN_HPP
#define OSTDRV_TESTS_CERTIFICATES_CHAIN_HPP

#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

namespace ostdrv::test {

enum class Fitted { blank_atecc, keyless_atecc, layout_0, layout_0_usb, layout_1, trustx };
inline std::string name_of(Fitted fitted) {
    const char *const names[] = {"blank_atecc", "keyless_atecc", "layout_0", "layout_0_usb", "layout_1", "trustx"};
    return names[static_cast<int>(fitted)];
}

inline int set_serial(const std::string &serial) {
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(serial.data());
    return tpm_cert_set_serial_number(bytes, static_cast<int>(serial.size()));
}

// What a verification says: its status and its verdict, which starts as neither yes nor no.
using Verdict = std::pair<int, int>;
inline const Verdict sound{0, 1};

// An authority, a signer it issued, a device the signer issued for the chip's own key.
class Chain : public World {
 public:
    // Names of a length that puts the signer's key where a Trust X verification looks for it.
    Authority root{"Test Certificate Authority 1"};
    Authority signer{"Test Intermediate Signer 01"};
    PublicKey device_key{};
    Bytes signer_cert, device_cert;
    const std::string signer_file = path("signercert.cert"), device_file = path("devcert.cert");

    // From the layouts on the chip has its key.
    void fit(Fitted fitted) {
        const bool trustx = fitted == Fitted::trustx, usb = fitted == Fitted::layout_0_usb;
        board.fit({.chip = trustx ? "trustx" : "atecc608a", .usb = usb, .shell = usb ? "bash" : sim::host_shell});
        board.put(trustx ? "/mnt/settings/trustx" : "/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        if (fitted == Fitted::blank_atecc) return;
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        if (fitted == Fitted::keyless_atecc) return;

        std::uint8_t key[91];
        ASSERT_EQ(tpm_genkey(key, 68), 0);
        std::copy_n(trustx ? key + 27 : key, 64, device_key.begin());
        if (trustx || fitted == Fitted::layout_1) {
            ASSERT_EQ(set_serial("OSTRAVEL000000042"), 0);
        }
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = issue_device(device_key);
    }
    void TearDown() override { EXPECT_EQ(sim::trustx::open_sessions(), 0); }

    Bytes issue_device(const PublicKey &key) const {
        return signer.issue("Device 0001", key, {.extensions = false, .tbs_size = 300});
    }
    std::string pem_file(const std::string &name, const Bytes &der) const { return put(name, pem_of(der)); }
    int save_signer(const Bytes &der) const {
        return tpm_cert_save_signer_cert(pem_file("signercert.cert", der).c_str());
    }
    int save_device(const Bytes &der) const { return tpm_cert_save_device_cert(pem_file("devcert.cert", der).c_str()); }
    void save_chain() const { ASSERT_EQ(save_signer(signer_cert) + save_device(device_cert), 0); }
    Verdict verify(const PublicKey &ca) const {
        const char *const paths[] = {signer_file.c_str(), device_file.c_str()};
        std::uint8_t verified = 7;
        const int status = tpm_cert_verify(ca.data(), paths, &verified);
        return {status, verified};
    }
    Verdict verify() const { return verify(root.public_key()); }

    // What an export writes; nothing, and no file, with this status otherwise.
    Bytes exported(int (*operation)(const char *), int status = 0) const {
        unlink(path("exported.pem").c_str());
        EXPECT_EQ(operation(path("exported.pem").c_str()), status);
        EXPECT_EQ(exists("exported.pem"), status == 0);
        return der_of(get("exported.pem"));
    }
};

struct OnLayout1 : Chain {
    void SetUp() override { fit(Fitted::layout_1); }
};
struct OnTrustx : Chain {
    void SetUp() override { fit(Fitted::trustx); }
};

}  // namespace ostdrv::test

#endif
