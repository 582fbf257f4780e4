// Worlds with a secure element and what its certificates need.
#ifndef OSTDRV_TESTS_CERTIFICATES_CHAINS_HPP
#define OSTDRV_TESTS_CERTIFICATES_CHAINS_HPP

#include <algorithm>
#include <string>
#include <utility>

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

namespace ostdrv::test {

// Those of an action's calls that begin with a text.
inline Calls calls_starting(const std::string &beginning, const std::function<void()> &action) {
    Calls calls = World::calls_of(action);
    std::erase_if(calls, [&](const std::string &call) { return !call.starts_with(beginning); });
    return calls;
}

inline int set_serial(const std::string &serial) {
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(serial.data());
    return tpm_cert_set_serial_number(bytes, static_cast<int>(serial.size()));
}

// What a verification says: its status and its verdict, which starts as neither yes nor no.
using Verdict = std::pair<int, int>;
inline const Verdict sound{0, 1}, unsound{0, 0};

// An ATECC and a chain: an authority, a signer it issued, a device the signer issued for the chip's own key.
class AteccChain : public World {
 protected:
    Authority root{"Test Root CA"};
    Authority signer{"Test Signer 01"};
    PublicKey device_key{};
    Bytes signer_cert;
    Bytes device_cert;

    void SetUp() override { start(false); }
    void start(bool usb) {
        board.fit({.chip = "atecc608a", .usb = usb, .shell = usb ? "bash" : sim::host_shell});
        board.put("/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        ASSERT_EQ(tpm_genkey(device_key.data(), 64), 0);
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = issue_device(device_key);
    }
    Bytes issue_device(const PublicKey &key) const {
        return signer.issue("Device 0001", key, {.extensions = false, .tbs_size = 300});
    }
    std::string pem_file(const std::string &name, const Bytes &der) { return put(name, pem_of(der)); }
    void save(const Bytes &signer_der, const Bytes &device_der) {
        ASSERT_EQ(tpm_cert_save_signer_cert(pem_file("signercert.cert", signer_der).c_str()), 0);
        ASSERT_EQ(tpm_cert_save_device_cert(pem_file("devcert.cert", device_der).c_str()), 0);
    }
    void save_chain() { save(signer_cert, device_cert); }
    Verdict verify(const PublicKey &ca) {
        const std::string files[] = {path("signercert.cert"), path("devcert.cert")};
        const char *const paths[] = {files[0].c_str(), files[1].c_str()};
        uint8_t verified = 7;
        const int status = tpm_cert_verify(ca.data(), paths, &verified);
        return {status, verified};
    }
};

class TrustxWorld : public Trustx {
 protected:
    void SetUp() override {
        Trustx::SetUp();
        int type = 0;
        tpm_get_chip_type(&type);  // detection is over before calls are counted
    }
};

}  // namespace ostdrv::test

#endif
