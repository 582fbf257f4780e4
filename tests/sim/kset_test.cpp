#include <kset.h>

#include "world.hpp"

namespace ostdrv::test {
namespace {

// A region in memory that counts what is moved.
std::string region;
unsigned moved;

int read_region(void *buffer, unsigned length) {
    moved += length;
    region.copy(static_cast<char *>(buffer), length);
    return 0;
}
int write_region(const void *buffer, unsigned length) {
    moved += length;
    region.replace(0, length, static_cast<const char *>(buffer), length);
    return 0;
}

const std::uint8_t *bytes(const char *text) { return reinterpret_cast<const std::uint8_t *>(text); }
void open_store(unsigned count = 11) {
    EXPECT_EQ(kset_init(count, static_cast<unsigned>(region.size()), -1, read_region, write_region), 0);
}
void declare() {
    open_store();
    EXPECT_EQ(kset_add_int(1, "int", -5, 10, 3), 0);
    EXPECT_EQ(kset_add_hex(2, "hex", 3, bytes("abc")), 0);
    EXPECT_EQ(kset_add_string(11, "text", 4, "ab"), 0);
}
std::string values() {
    return std::to_string(kset_get_int(1)) + " " + std::string(kset_get_hex(2), kset_get_hex(2) + 3) + " " +
           kset_get_string(11);
}
unsigned moved_by(int (*call)()) {
    moved = 0;
    EXPECT_EQ(call(), 0);
    return moved;
}

TEST(Kset, MovesOnlyTheImagesBytesAndRefusesWhatIsNotDeclared) {
    region.assign(60000, '\xff');
    declare();
    EXPECT_EQ(moved_by(kset_read), 14u) << "the header of an erased region";
    EXPECT_EQ(values(), "3 abc ab");
    EXPECT_EQ(kset_set_int(1, -5) + kset_set_hex(2, bytes("xyz")) + kset_set_string(11, "max"), 0);
    const unsigned image = 14 + 3 * 5 + 4 + 3 + 3;
    EXPECT_EQ(moved_by(kset_write), image + 4) << "the image, then its magic";
    EXPECT_EQ(region.find_first_not_of('\xff', image), region.npos);
    const std::string whole = region;
    declare();
    for (const unsigned more : {14 + image, 14u}) {  // what is still there is not read again
        EXPECT_EQ(moved_by(kset_read), more);
        EXPECT_EQ(values(), "-5 xyz max");
    }

    // What spoils the store, and stored values that a declaration does not allow.
    const struct {
        int result;
        std::function<int()> call;
    } cases[] = {{-1, [] { return declare(), kset_add_int(0, "low", 0, 1, 0); }},
                 {-1, [] { return declare(), kset_add_string(5, "default", 2, "ab"); }},
                 {-1, [] { return declare(), kset_set_int(1, 11); }},
                 {0, [] { return open_store(), kset_add_int(1, "bounds", 0, 10, 0); }},
                 {0, [] { return open_store(), kset_add_hex(1, "kind", 4, nullptr); }},
                 {0, [] { return open_store(10), kset_add_int(1, "an identifier above the count", -5, 10, 3); }}};
    for (const auto &c : cases) {
        EXPECT_EQ(c.call(), c.result);
        kset_add_string(9, "absent", 2, "d");
        kset_set_string(9, "v");
        EXPECT_EQ(kset_read(), -1);
        EXPECT_STREQ(kset_get_string(9), "v") << "a failed read changes nothing";
        EXPECT_TRUE(c.result == 0 || kset_write() == -1);
    }
    EXPECT_EQ(region, whole);
    kset_shutdown();
}

}  // namespace
}  // namespace ostdrv::test
