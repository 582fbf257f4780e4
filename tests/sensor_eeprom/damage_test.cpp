// Whatever the EEPROM holds, what comes out of it is what went in, or a failure.
#include <kset.h>

#include <optional>

#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

struct Damage : Eeprom {
    const std::string erased = std::string(512, '\xff');
    const Tables tables{{0, noise(9, 1)}, {4, std::string("text\n")}, {19, noise(30, 2)}};
    std::string hash;

    std::string stored(const Tables &what, const std::string &before) {
        set_contents(before);
        const Payload payload(what);
        EXPECT_EQ(store(payload), success);
        hash = payload.hash();
        return contents();
    }
    // What a load brings, if it brings anything.
    std::optional<Tables> loaded(const Tables &names) {
        Payload payload;
        for (const auto &[slot, data] : names) payload.name(slot);
        return load(payload) == success ? std::optional(payload.tables()) : std::nullopt;
    }
};

TEST_F(Damage, NoFlippedBitIsReturnedAsData) {
    const std::string whole = stored(tables, erased);
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        if (whole[bit / 8] == '\xff') continue;
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ 1 << bit % 8);
        set_contents(bytes);
        const auto now = loaded(tables);
        EXPECT_EQ(now.value_or(tables), tables) << bit;
        EXPECT_FALSE(now && check(hash) == success) << bit;
    }
}

TEST_F(Damage, ForeignFilesAreRefusedUntilTheyAreErased) {
    const std::string bytes = stored(tables, erased);
    for (const std::string &foreign : {bytes.substr(0, 100), bytes.substr(0, 300), noise(512, 1),
                                       bytes.substr(0, 10) + noise(246, 2) + bytes.substr(256, 10) + noise(246, 3)}) {
        set_contents(foreign);
        EXPECT_EQ(load(Payload(tables)), (Outcome{-1, 12}));
        EXPECT_EQ(contents(), foreign);
    }
    EXPECT_EQ(run(x_sensor_eeprom_store_header, Payload().get()), (Outcome{-1, 12}));
    EXPECT_EQ(run(x_sensor_eeprom_reset), success);
    EXPECT_EQ(store(Payload(tables)), success);
}

TEST_F(Damage, StoredSizesThatNoBufferHoldsAreRefused) {
    for (const int size : {-1, 41, 12288, 12289}) {
        stored({}, std::string(65536, '\xff'));
        kset_init(40, 65536 - 256, -1, eeprom_calib_read, eeprom_calib_write);
        kset_add_int(21, "t0_size", -1, 100000, size);
        kset_add_hex(1, "t0", size == 12288 ? 12288 : 45, nullptr);
        ASSERT_EQ(kset_write(), 0);
        Payload payload;
        payload.name(0).capacity = 40;
        EXPECT_EQ(load(payload), (Outcome{-1, 12})) << size;
    }
    Payload wide({{0, "x"}});
    set_contents(stored({{0, "x"}}, erased));
    wide->tables[0].capacity = 20000;
    const auto load_wide = [&] { return load(wide); };
    EXPECT_EQ(with_fault({.name = "kset_get_int", .has_result = true, .result = 12289}, load_wide), (Outcome{-1, 12}));
    EXPECT_EQ(wide->tables[0].length, 0) << "a size that no settings store should let through";
    wide->tables[0].capacity = 12288;
}

// The contents after each byte that a store writes: whole writes are found by failing them one by one, and a write
// that is cut has changed the file from its start to the cut.
TEST_F(Damage, AStoreCutAtAnyByteLeavesOldNewOrNothing) {
    const Tables a{{0, noise(20, 3)}, {1, noise(7, 4)}}, b{{0, noise(12, 5)}, {1, noise(30, 6)}};
    const Tables like_a{{0, noise(20, 7)}, {1, noise(7, 8)}}, none{{0, ""}, {1, ""}};
    const std::string with_a = stored(a, erased);
    const struct {
        const std::string &before;
        const Tables &old, &fresh;
    } cases[] = {{erased, none, a}, {with_a, a, b}, {with_a, a, like_a}};
    for (const auto &c : cases) {
        const std::string after = stored(c.fresh, c.before);
        std::string last = c.before;
        for (std::size_t write = 2; last != after; ++write) {
            set_contents(c.before);
            with_fault({.name = "write", .nth = write}, [&] { return store(Payload(c.fresh)); });
            const std::string next = contents();
            for (std::size_t cut = 1; cut <= after.size(); ++cut) {
                const std::string bytes = next.substr(0, cut) + last.substr(cut);
                if (next[cut - 1] == last[cut - 1]) continue;
                set_contents(bytes);
                const Tables now = loaded(c.fresh).value_or(c.old);
                EXPECT_TRUE(now == c.old || now == c.fresh) << write << ": " << cut;
                EXPECT_EQ(check(hash) == success, bytes == after) << write << ": " << cut;
            }
            last = next;
        }
    }
}

}  // namespace
}  // namespace ostdrv::test
