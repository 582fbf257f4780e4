#include <kset.h>

#include "world.hpp"

namespace ostdrv::test {
namespace {

// A region in memory that counts what is moved.
std::string region;
unsigned bytes_read, bytes_written;

int read_region(void *buffer, unsigned length) {
    bytes_read += length;
    region.copy(static_cast<char *>(buffer), length);
    return 0;
}

int write_region(const void *buffer, unsigned length) {
    bytes_written += length;
    region.replace(0, length, static_cast<const char *>(buffer), length);
    return 0;
}

struct Kset : testing::Test {
    Kset() { erase(256); }
    ~Kset() override { kset_shutdown(); }
    static void erase(std::size_t size, char with = '\xff') { region.assign(size, with); }
    static int open(unsigned count = 11) {
        bytes_read = bytes_written = 0;
        return kset_init(count, static_cast<unsigned>(region.size()), -1, read_region, write_region);
    }
    static const std::uint8_t *bytes(const char *text) { return reinterpret_cast<const std::uint8_t *>(text); }
    static void declare() {
        EXPECT_EQ(kset_add_int(1, "int", -5, 10, 3), 0);
        EXPECT_EQ(kset_add_hex(2, "hex", 3, bytes("abc")), 0);
        EXPECT_EQ(kset_add_string(11, "text", 4, "ab"), 0);
        EXPECT_EQ(kset_add_hex(4, "empty", 0, nullptr), 0);
    }
    static void expect_values(int number, const char *hex, const char *text) {
        EXPECT_EQ(kset_get_int(1), number);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(kset_get_hex(2)), 3), hex);
        EXPECT_STREQ(kset_get_string(11), text);
        EXPECT_NE(kset_get_hex(4), nullptr);
    }
    // An image of other values, to be read.
    static void write_other() {
        open();
        declare();
        EXPECT_EQ(kset_set_int(1, -5), 0);
        EXPECT_EQ(kset_set_hex(2, bytes("xyz")), 0);
        EXPECT_EQ(kset_set_string(11, "max"), 0);
        EXPECT_EQ(kset_write(), 0);
    }
};

TEST_F(Kset, AbsentSettingsReadAsDefaultsAndStoredOnesAsStored) {
    for (const char erased : {'\xff', '\0'}) {
        erase(256, erased);
        open();
        declare();
        kset_set_int(1, 7);
        EXPECT_EQ(kset_read(), 0);
        expect_values(3, "abc", "ab");
        EXPECT_EQ(bytes_read, 14u);
    }
    write_other();
    open();
    kset_add_int(1, "int", -5, 10, 3);
    EXPECT_EQ(kset_read(), 0) << "with only some declared";
    EXPECT_EQ(kset_get_int(1), -5);
    EXPECT_EQ(kset_add_hex(2, "hex", 3, nullptr), 0) << "after a read";
    EXPECT_EQ(kset_add_string(11, "text", 4, ""), 0);
    EXPECT_EQ(kset_add_hex(4, "empty", 0, nullptr), 0);
    EXPECT_EQ(kset_add_string(5, "absent", 9, "default"), 0);
    EXPECT_EQ(kset_read(), 0);
    expect_values(-5, "xyz", "max");
    EXPECT_STREQ(kset_get_string(5), "default");
}

TEST_F(Kset, MovesOnlyTheBytesOfTheImage) {
    erase(60000);
    write_other();
    const unsigned image = 14 + 4 * 5 + 4 + 3 + 3;
    EXPECT_EQ(bytes_written, image + 4) << "the image, then its magic";
    EXPECT_EQ(bytes_read, 0u);
    EXPECT_EQ(region.substr(image), std::string(region.size() - image, '\xff'));
    open();
    declare();
    EXPECT_EQ(kset_read(), 0);
    EXPECT_EQ(bytes_read, 14 + image);
    EXPECT_EQ(kset_read(), 0);
    EXPECT_EQ(bytes_read, 14 + image + 14) << "an image still there is not read again";
    kset_set_int(1, 0);
    EXPECT_EQ(kset_write(), 0);
    EXPECT_EQ(kset_read(), 0);
    EXPECT_EQ(bytes_read, 14 + image + 14 + 14 + image) << "what was written is";
}

TEST_F(Kset, RefusedDeclarationsAndValuesSpoilTheStore) {
    const std::function<int()> refusals[] = {[] { return kset_add_int(0, "low", 0, 1, 0); },
                                             [] { return kset_add_int(12, "high", 0, 1, 0); },
                                             [] { return kset_add_int(1, "again", 0, 1, 0); },
                                             [] { return kset_add_int(5, nullptr, 0, 1, 0); },
                                             [] { return kset_add_int(5, "default", 0, 1, 2); },
                                             [] { return kset_add_hex(5, "negative", -1, nullptr); },
                                             [] { return kset_add_hex(5, "long", KSET_MAX_LENGTH + 1, nullptr); },
                                             [] { return kset_add_string(5, "no room", 0, ""); },
                                             [] { return kset_add_string(5, "default", 2, "ab"); },
                                             [] { return kset_set_int(1, 11); },
                                             [] { return kset_set_int(1, -6); },
                                             [] { return kset_set_int(2, 1); },
                                             [] { return kset_set_hex(1, bytes("abcd")); },
                                             [] { return kset_set_hex(2, nullptr); },
                                             [] { return kset_set_hex(3, bytes("")); },
                                             [] { return kset_set_string(11, "long"); },
                                             [] { return kset_set_string(2, "abc"); }};
    for (const auto &refusal : refusals) {
        open();
        declare();
        EXPECT_EQ(refusal(), -1);
        expect_values(3, "abc", "ab");
        EXPECT_EQ(kset_read(), -1);
        EXPECT_EQ(kset_write(), -1);
    }
    EXPECT_EQ(region, std::string(256, '\xff'));
    open();
    EXPECT_EQ(kset_write(), 0) << "the next store is a new one";
}

TEST_F(Kset, StoredValuesThatADeclarationDoesNotAllowAreRefusedWhole) {
    write_other();
    const std::function<int()> others[] = {
        [] { return kset_add_int(1, "bounds", 0, 10, 0); },   [] { return kset_add_hex(1, "kind", 4, nullptr); },
        [] { return kset_add_hex(2, "longer", 4, nullptr); }, [] { return kset_add_hex(2, "shorter", 2, nullptr); },
        [] { return kset_add_string(11, "shorter", 3, ""); }, [] { return kset_add_string(2, "kind", 4, ""); }};
    for (const auto &other : others) {
        open();
        EXPECT_EQ(other(), 0);
        kset_add_string(9, "absent", 2, "d");
        kset_set_string(9, "v");
        EXPECT_EQ(kset_read(), -1);
        EXPECT_STREQ(kset_get_string(9), "v") << "a failed read changes nothing";
    }
    open(10);
    EXPECT_EQ(kset_read(), -1) << "an identifier above the count";
}

TEST_F(Kset, RegionsThatHoldNoImageOpenNoStore) {
    for (const unsigned size : {0u, 13u, 1u << 31, 100u - 256u}) {
        open();
        EXPECT_EQ(kset_init(1, size, -1, read_region, write_region), -1);
        for (const int result : {kset_add_int(1, "i", 0, 1, 1), kset_read(), kset_write()}) EXPECT_EQ(result, -1);
        EXPECT_EQ(kset_get_int(1), 0);
        EXPECT_EQ(kset_get_hex(1), nullptr);
    }
    EXPECT_EQ(kset_init(0, 256, -1, read_region, write_region), -1);
    EXPECT_EQ(kset_init(1, 256, -1, nullptr, write_region), -1);
    region.resize(14 + 5 + 3);
    open();
    kset_add_hex(1, "fits", 3, nullptr);
    EXPECT_EQ(kset_write(), 0);
    kset_add_hex(2, "does not", 0, nullptr);
    EXPECT_EQ(kset_write(), -1);
}

}  // namespace
}  // namespace ostdrv::test
