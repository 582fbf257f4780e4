// The library's MD5 beside libcrypto's, on the same bytes.
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "ostdrv.h"
#include "table.hpp"

namespace ostdrv::bench {
namespace {

using Digest = unsigned char[16];

void library_md5(const std::vector<unsigned char> &message, Digest &digest) {
    x_sensor_eeprom_md5_ctx context;
    x_sensor_eeprom_md5_init(&context);
    x_sensor_eeprom_md5_update(&context, message.data(), static_cast<unsigned>(message.size()));
    x_sensor_eeprom_md5_finalise(&context, digest);
}

// The context and the algorithm are made once, as a program that cares for speed would.
void libcrypto_md5(const std::vector<unsigned char> &message, Digest &digest) {
    static EVP_MD_CTX *const context = EVP_MD_CTX_new();
    static EVP_MD *const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
    EVP_DigestInit_ex(context, md5, nullptr);
    EVP_DigestUpdate(context, message.data(), message.size());
    EVP_DigestFinal_ex(context, digest, nullptr);
}

void compare_md5(const Table &table, std::size_t size) {
    const std::vector<unsigned char> message(size, 0x5a);
    static Digest ours, theirs;
    library_md5(message, ours);
    libcrypto_md5(message, theirs);
    must(std::memcmp(ours, theirs, sizeof ours) == 0, "two equal digests");

    constexpr std::size_t bytes_a_turn = 250000;
    const int batch = static_cast<int>(std::max(bytes_a_turn / size, std::size_t{1}));
    table.compare({.name = "MD5 of " + std::to_string(size) + " bytes",
                   .unit = "of libcrypto's time",
                   .library = timed(batch, [message] { library_md5(message, ours); }),
                   .bare = timed(batch, [message] { libcrypto_md5(message, theirs); }),
                   .turns = 1000});
}

void measure(const Table &table, const std::string &) {
    for (const std::size_t size : {64u, 1024u, 12288u, 20 * 12288u}) compare_md5(table, size);
    table.run();
}

}  // namespace
}  // namespace ostdrv::bench

int main(int argc, char **argv) { return ostdrv::bench::bench_main(argc, argv, ostdrv::bench::measure); }
