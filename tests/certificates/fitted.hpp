// A board whose chip is in one of the states that matter, and the chain that belongs to it.
#ifndef OSTDRV_TESTS_CERTIFICATES_FITTED_HPP
#define OSTDRV_TESTS_CERTIFICATES_FITTED_HPP

#include <algorithm>
#include <string>

#include "certificates/authority.hpp"
#include "world.hpp"

namespace ostdrv::test {

enum class Fitted { blank_atecc, keyless_atecc, layout_0, layout_0_usb, layout_1, layout_1_usb, trustx };
inline std::string name_of(Fitted fitted) {
    const char *const names[] = {"blank_atecc", "keyless_atecc", "layout_0", "layout_0_usb",
                                 "layout_1",    "layout_1_usb",  "trustx"};
    return names[static_cast<int>(fitted)];
}

// An authority, a signer it issued, a device the signer issued for the chip's own key.
class Chain : public World {
 public:
    // Names of a length that puts the signer's key where a Trust X verification looks for it.
    Authority root{"Test Certificate Authority 1"};
    Authority signer{"Test Intermediate Signer 01"};
    PublicKey device_key{};
    Bytes signer_cert, device_cert;
    std::string signer_file, device_file;

    // From the layouts on the chip has its key, and files have the chain.
    void fit(Fitted fitted) {
        const bool trustx = fitted == Fitted::trustx,
                   usb = fitted == Fitted::layout_0_usb || fitted == Fitted::layout_1_usb;
        board.fit({.chip = trustx ? "trustx" : "atecc608a", .usb = usb, .shell = usb ? "bash" : sim::host_shell});
        board.put(trustx ? "/mnt/settings/trustx" : "/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        if (fitted == Fitted::blank_atecc) return;
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        if (fitted == Fitted::keyless_atecc) return;

        uint8_t key[91];
        ASSERT_EQ(tpm_genkey(key, 68), 0);
        std::copy_n(trustx ? key + 27 : key, 64, device_key.begin());
        if (fitted != Fitted::layout_0 && fitted != Fitted::layout_0_usb) {
            ASSERT_EQ(tpm_cert_set_serial_number(key, 17), 0);
        }
        signer_cert = root.issue(signer, {.authority = true});
        device_cert = signer.issue("Device 0001", device_key, {.extensions = false});
        signer_file = put("signercert.cert", pem_of(signer_cert));
        device_file = put("devcert.cert", pem_of(device_cert));
    }
};

}  // namespace ostdrv::test

#endif
