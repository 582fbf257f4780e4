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
    Kset() { region.assign(60000, '\xff'); }
    ~Kset() override { kset_shutdown(); }
    static void open(unsigned count = 11) {
        bytes_read = bytes_written = 0;
        EXPECT_EQ(kset_init(count, static_cast<unsigned>(region.size()), -1, read_region, write_region), 0);
    }
    static const std::uint8_t *bytes(const char *text) { return reinterpret_cast<const std::uint8_t *>(text); }
    static void declare() {
        open();
        EXPECT_EQ(kset_add_int(1, "int", -5, 10, 3), 0);
        EXPECT_EQ(kset_add_hex(2, "hex", 3, bytes("abc")), 0);
        EXPECT_EQ(kset_add_string(11, "text", 4, "ab"), 0);
    }
    static void expect_values(int number, const char *hex, const char *text) {
        EXPECT_EQ(kset_get_int(1), number);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(kset_get_hex(2)), 3), hex);
        EXPECT_STREQ(kset_get_string(11), text);
    }
    // An image of other values, to be read.
    static void write_other() {
        declare();
        EXPECT_EQ(kset_set_int(1, -5) + kset_set_hex(2, bytes("xyz")) + kset_set_string(11, "max"), 0);
        EXPECT_EQ(kset_write(), 0);
    }
};

TEST_F(Kset, MovesOnlyTheBytesOfTheImage) {
    declare();
    kset_set_int(1, 7);
    EXPECT_EQ(kset_read(), 0);
    expect_values(3, "abc", "ab");
    EXPECT_EQ(bytes_read, 14u) << "the header of an erased region";
    write_other();
    const unsigned image = 14 + 3 * 5 + 4 + 3 + 3;
    EXPECT_EQ(bytes_written, image + 4) << "the image, then its magic";
    EXPECT_EQ(region.find_first_not_of('\xff', image), region.npos);
    declare();
    for (const unsigned more : {14 + image, 14u, 14u}) {  // what is still there is not read again
        const unsigned before = bytes_read;
        EXPECT_EQ(kset_read(), 0);
        EXPECT_EQ(bytes_read, before + more);
        expect_values(-5, "xyz", "max");
    }
}

TEST_F(Kset, RefusedDeclarationsAndValuesSpoilTheStore) {
    const std::function<int()> refusals[] = {[] { return kset_add_int(0, "low", 0, 1, 0); },
                                             [] { return kset_add_int(1, "again", 0, 1, 0); },
                                             [] { return kset_add_int(5, "default", 0, 1, 2); },
                                             [] { return kset_add_hex(5, "long", KSET_MAX_LENGTH + 1, nullptr); },
                                             [] { return kset_add_string(5, "default", 2, "ab"); },
                                             [] { return kset_set_int(1, 11); },
                                             [] { return kset_set_hex(3, bytes("")); },
                                             [] { return kset_set_string(11, "long"); },
                                             [] { return kset_set_string(2, "abc"); }};
    const std::string before = region;
    for (const auto &refusal : refusals) {
        declare();
        EXPECT_EQ(refusal(), -1);
        expect_values(3, "abc", "ab");
        EXPECT_EQ(kset_read(), -1);
        EXPECT_EQ(kset_write(), -1);
    }
    EXPECT_EQ(region, before);
}

TEST_F(Kset, StoredValuesThatADeclarationDoesNotAllowAreRefusedWhole) {
    write_other();
    const std::function<int()> others[] = {
        [] { return kset_add_int(1, "bounds", 0, 10, 0); }, [] { return kset_add_hex(1, "kind", 4, nullptr); },
        [] { return kset_add_hex(2, "longer", 4, nullptr); }, [] { return kset_add_hex(2, "shorter", 2, nullptr); },
        [] { return kset_add_string(11, "shorter", 3, ""); }};
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
    region.resize(14 + 5 + 3);
    open();
    kset_add_hex(1, "fits", 3, nullptr);
    EXPECT_EQ(kset_write(), 0);
    kset_add_hex(2, "does not", 0, nullptr);
    EXPECT_EQ(kset_write(), -1);
}

}  // namespace
}  // namespace ostdrv::test
