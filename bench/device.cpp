#include "device.hpp"

#include <algorithm>
#include <fstream>

#include "core/fault_plan.hpp"
#include "ostdrv.h"
#include "table.hpp"

namespace ostdrv::bench {

std::vector<std::string> calls_of(const std::function<void()> &action) {
    sim::fault_plan::start();
    action();
    sim::fault_plan::stop();
    std::vector<std::string> calls = sim::fault_plan::log();
    // Temporary files are named after random numbers.
    for (std::string &call : calls)
        for (std::size_t at = 0; (at = call.find(".tmp.", at)) != std::string::npos; at += 4)
            call.erase(at + 4, call.find_first_not_of("0123456789", at + 5) - (at + 4));
    return calls;
}

std::size_t same_calls(const std::function<void()> &library, const std::function<void()> &bare) {
    const std::vector<std::string> made = calls_of(library);
    const std::vector<std::string> needed = calls_of(bare);
    const auto [ours, theirs] = std::ranges::mismatch(made, needed);
    must(ours == made.end() && theirs == needed.end(), "the same calls: " + (ours == made.end() ? "none" : *ours) +
                                                           " where the bare side has " +
                                                           (theirs == needed.end() ? "none" : *theirs));
    return made.size();
}

Device::Device(const std::string &chip) {
    const bool trustx = chip == "trustx";
    board.fit({.chip = chip});
    board.put(trustx ? "/mnt/settings/trustx" : "/mnt/settings/atecc", "");
    must(tpm_init_device() == 0 && tpm_init_config(nullptr) == 0, "starting the chip");

    // A Trust X gives the key with the 27 bytes of a SubjectPublicKeyInfo before it.
    uint8_t key[91];
    must(tpm_genkey(key, 68) == 0, "making the device key");
    sim::PublicKey device_key{};
    std::copy_n(trustx ? key + 27 : key, device_key.size(), device_key.begin());
    must(tpm_cert_set_serial_number(key, 17) == 0, "writing the serial number");

    signer_cert = root.issue(signer, {.authority = true});
    device_cert = signer.issue("Sample Device", device_key, {.extensions = false});
    signer_file = put("signercert.cert", test::pem_of(signer_cert));
    device_file = put("devcert.cert", test::pem_of(device_cert));
    must(tpm_cert_save_signer_cert(signer_file.c_str()) == 0 && tpm_cert_save_device_cert(device_file.c_str()) == 0,
         "saving the chain");
}

std::string Device::put(const std::string &name, const std::string &text) const {
    const sim::Unseen unseen;
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
}

}  // namespace ostdrv::bench
