// For the counters of its context, which nothing else of libcrypto shows.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

struct Md5 : testing::Test {
    x_sensor_eeprom_md5_ctx context;

    std::string of_pieces(const std::string &message, unsigned piece) {
        x_sensor_eeprom_md5_init(&context);
        for (std::size_t at = 0; at < message.size(); at += piece) {
            const std::string part = message.substr(at, piece);
            x_sensor_eeprom_md5_update(&context, part.data(), static_cast<unsigned>(part.size()));
            x_sensor_eeprom_md5_update(&context, nullptr, 0);
        }
        std::string digest(16, '\0');
        x_sensor_eeprom_md5_finalise(&context, reinterpret_cast<unsigned char *>(digest.data()));
        return digest;
    }
};

TEST_F(Md5, EqualsOpenSslForEveryLengthAndSplit) {
    EXPECT_EQ(of_pieces("abc", 64), "\x90\x01\x50\x98\x3c\xd2\x4f\xb0\xd6\x96\x3f\x7d\x28\xe1\x7f\x72");
    for (unsigned length = 0; length <= 300; ++length) {
        const std::string message = noise(length, length);
        for (const unsigned piece : {1u, 7u, 63u, 64u, 65u, 1 + length * 7 % 131, 300u})
            EXPECT_EQ(of_pieces(message, piece), openssl_md5(message)) << length << " in pieces of " << piece;
    }
}

// As if nearly 2^32 bits, and more than that, had been hashed before.
TEST_F(Md5, CountsBitsAcrossBothWordsAndLeavesNothingBehind) {
    const std::string message = noise(100, 1);
    x_sensor_eeprom_md5_init(&context);
    context.count[0] = 0xFFFFFE00;
    context.count[1] = 6;
    context.buffer[63] = 9;
    x_sensor_eeprom_md5_update(&context, message.data(), 100);
    EXPECT_EQ(context.count[0], 800u - 512u);
    EXPECT_EQ(context.count[1], 7u);
    unsigned char digest[16], expected[16];
    x_sensor_eeprom_md5_finalise(&context, digest);
    constexpr x_sensor_eeprom_md5_ctx nothing{};
    EXPECT_EQ(std::memcmp(&context, &nothing, sizeof context), 0);

    MD5_CTX theirs;
    MD5_Init(&theirs);
    theirs.Nl = 0xFFFFFE00;
    theirs.Nh = 6;
    MD5_Update(&theirs, message.data(), 100);
    MD5_Final(expected, &theirs);
    EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
}

}  // namespace
}  // namespace ostdrv::test
