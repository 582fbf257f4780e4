// Verification of the chain beside the commands that it must give the chip, the chip's library and the system: the same
// in the same order with the same arguments, and nothing around them.
#include <cryptoauthlib.h>
#include <sys/stat.h>
#include <trustx.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "benches.hpp"
#include "ostdrv.h"

namespace ostdrv::bench {
namespace {

constexpr std::uint8_t data_zone = 2;

// What is known of a certificate beforehand.
struct Known : test::CertificateParts {
    explicit Known(const sim::Bytes &certificate)
        : CertificateParts(test::parts_of(certificate)),
          integers(certificate.begin() + static_cast<std::ptrdiff_t>(integers_offset), certificate.end()) {}
    sim::Bytes integers;
    std::size_t key_in_tbs() const { return key_offset - tbs_offset; }
};

void read_slot(std::uint16_t slot, std::uint8_t *bytes) {
    std::size_t size = 0;
    atcab_get_zone_size(data_zone, slot, &size);
    atcab_read_bytes_zone(data_zone, slot, 0, bytes, size);
}

void remove_own_file(const std::string &path) {
    struct stat status;
    must(lstat(path.c_str(), &status) == 0 && unlink(path.c_str()) == 0, "removing a temporary file");
}

// The system's command lists the elements of the TBS up to the key.
void list_elements(const std::uint8_t *tbs, std::size_t size) {
    const std::string input = "/tmp/der.tmp.1", output = "/tmp/asn1decode.tmp.1";
    for (const std::string &path : {input, output}) std::remove(path.c_str());
    std::FILE *file = std::fopen(input.c_str(), "wb");
    must(file && std::fwrite(tbs, 1, size, file) == size && std::fclose(file) == 0, "writing a TBS");
    const std::string command = "/usr/bin/openssl asn1parse -in " + input + " -inform DER > " + output;
    must(std::system(command.c_str()) == 0, "openssl asn1parse");
    remove_own_file(input);

    file = std::fopen(output.c_str(), "r");
    char line[1024];
    for (int left = -1; left != 0 && std::fgets(line, sizeof line, file); --left)
        if (std::strstr(line, "id-ecPublicKey")) left = 3;
    std::fclose(file);
    remove_own_file(output);
}

bool verify_stored(const std::uint8_t *tbs, const std::uint8_t *signature, const Known &cert,
                   const std::uint8_t *issuer, std::uint8_t *key) {
    std::uint8_t digest[32];
    bool verified = false;
    atcac_sw_sha2_256(tbs, cert.tbs_size, digest);
    atcab_verify_extern(digest, signature, issuer, &verified);
    list_elements(tbs, cert.tbs_size);
    std::memcpy(key, tbs + cert.key_in_tbs(), 64);
    return verified;
}

bool challenge(const std::uint8_t *key) {
    std::uint8_t text[64] = {1}, digest[32], response[64];
    bool verified = false;
    atcac_sw_sha2_256(text, sizeof text, digest);
    atcacert_get_response(0, digest, response);
    atcab_verify_extern(digest, response, key, &verified);
    return verified;
}

bool bare_layout_1(const Known &signer, const Known &device, const std::uint8_t *root_key) {
    std::uint8_t record[1024], tbs[416], signature[72], signer_key[64], device_key[64];
    read_slot(7, record);
    read_slot(8, tbs);
    read_slot(10, signature);
    const bool signer_verified = verify_stored(tbs, signature, signer, root_key, signer_key);
    for (std::uint16_t slot = 11; slot <= 15; ++slot) read_slot(slot, tbs + (slot - 11) * 72);
    read_slot(9, signature);
    return signer_verified && verify_stored(tbs, signature, device, signer_key, device_key) && challenge(device_key);
}

bool verify_object(std::uint16_t object, const std::uint8_t *issuer, const Known &cert, std::uint8_t *key) {
    std::uint8_t bytes[1024];
    std::uint16_t length = sizeof bytes;
    must(trustX_Open() == 0, "opening a session");
    optiga_util_read_data(object, 0, bytes, &length);
    trustX_Close();
    const std::uint8_t *const tbs = bytes + cert.tbs_offset;
    std::memcpy(key, tbs + cert.key_in_tbs(), 64);
    return trustX_verify(issuer, tbs, cert.tbs_size, cert.integers.data(), cert.integers.size()) == 0;
}

bool bare_trustx(const Known &signer, const Known &device, const std::uint8_t *root_key) {
    std::uint8_t signer_key[64], device_key[64];
    return verify_object(0xE0E2, root_key, signer, signer_key) && verify_object(0xE0E1, signer_key, device, device_key);
}

}  // namespace

void compare_verification(const Table &table, const Device &device, bool trustx) {
    const auto library = [&device] {
        std::uint8_t verified = 0;
        must(tpm_cert_verify(device.root_key.data(), nullptr, &verified) == 0 && verified == 1, "tpm_cert_verify");
    };
    const auto run = trustx ? bare_trustx : bare_layout_1;
    const auto bare = [run, &device, signer = Known(device.signer_cert), own = Known(device.device_cert)] {
        must(run(signer, own, device.root_key.data()), "the bare verification");
    };
    table.compare({.name = trustx ? "tpm_cert_verify on a Trust X" : "tpm_cert_verify on an ATECC, layout 1",
                   .unit = "of the bare commands' time",
                   .library = timed(1, library),
                   .bare = timed(1, bare),
                   .turns = trustx ? 1000 : 200,
                   .remark = std::to_string(same_calls(library, bare)) + " calls, the same on both sides"});
}

}  // namespace ostdrv::bench
