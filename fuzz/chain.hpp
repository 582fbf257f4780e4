// What a target does with a chain that lies on the chip.
#ifndef OSTDRV_FUZZ_CHAIN_HPP
#define OSTDRV_FUZZ_CHAIN_HPP

#include "core/sealed_file.hpp"
#include "world.hpp"

namespace ostdrv::fuzz {

// Of the seeds' genuine chain, whose private keys nobody has: the authority's public key, and what the openssl command
// says about the two to-be-signed parts.
inline Bytes chain_file(const char *name) { return *sim::read_file(OSTDRV_FUZZ_CHAIN "/" + std::string(name)); }

// Returns whether the chain was found to be sound.
inline bool verify_and_export(const World &world) {
    static const Bytes key = chain_file("authority.key"), signer = chain_file("signer.dump"),
                       device = chain_file("device.dump");
    world.answer_with_dumps({signer, device});
    std::uint8_t verified = 0;
    const int status = tpm_cert_verify(key.data(), nullptr, &verified);
    sim::fault_plan::stop();
    expect(status == 0 || verified == 0, "who fails proves nothing");

    const std::string file = world.path("exported.pem");
    for (const auto export_to : {tpm_cert_export_signer_cert, tpm_cert_export_device_cert}) {
        std::filesystem::remove(file);
        const bool exported = export_to(file.c_str()) == 0;
        expect(exported == std::filesystem::exists(file), "there is a file when there is a certificate");
        std::size_t size = 2048;
        Output out(size);
        expect(!exported || tpm_cert_read_cert_from_file(file.c_str(), out.data(), &size) == 0,
               "what was exported can be read");
    }
    return verified;
}

}  // namespace ostdrv::fuzz

#endif
