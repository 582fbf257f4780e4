// For the counters of its context, which nothing else of libcrypto shows.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

TEST(Md5, EqualsOpenSslForEveryLengthAndSplit) {
    for (unsigned length = 0; length <= 300; ++length)
        for (const unsigned piece : {1u, 63u, 64u, 65u, 1 + length * 7 % 131, 300u}) {
            const std::string message = noise(length, length);
            x_sensor_eeprom_md5_ctx context;
            x_sensor_eeprom_md5_init(&context);
            for (unsigned at = 0; at < length; at += piece) {
                x_sensor_eeprom_md5_update(&context, message.data() + at, std::min(piece, length - at));
                x_sensor_eeprom_md5_update(&context, nullptr, 0);
            }
            unsigned char digest[16];
            x_sensor_eeprom_md5_finalise(&context, digest);
            EXPECT_EQ(openssl_md5(message), std::string(digest, digest + 16)) << length << " in pieces of " << piece;
        }
}

// As if nearly 2^32 bits, and more than that, had been hashed before.
TEST(Md5, CountsBitsAcrossBothWordsAndLeavesNothingBehind) {
    const std::string message = noise(100, 1);
    MD5_CTX theirs;
    MD5_Init(&theirs);
    x_sensor_eeprom_md5_ctx context{};
    x_sensor_eeprom_md5_init(&context);
    theirs.Nl = context.count[0] = 0xFFFFFE00;
    theirs.Nh = context.count[1] = 6;
    MD5_Update(&theirs, message.data(), 100);
    x_sensor_eeprom_md5_update(&context, message.data(), 100);
    EXPECT_EQ(context.count[1], 7u);

    unsigned char digest[16], expected[16];
    MD5_Final(expected, &theirs);
    x_sensor_eeprom_md5_finalise(&context, digest);
    EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
    constexpr x_sensor_eeprom_md5_ctx nothing{};
    EXPECT_EQ(std::memcmp(&context, &nothing, sizeof context), 0);
}

}  // namespace
}  // namespace ostdrv::test
