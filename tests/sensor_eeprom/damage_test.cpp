// Whatever the EEPROM holds, what comes out of it is what went in, or a failure.
#include <kset.h>

#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

struct Damage : Eeprom {
    Damage() {
        capturing_ = true;
        testing::internal::CaptureStdout();
    }
    ~Damage() override {
        const std::string text = testing::internal::GetCapturedStdout();
        if (HasFailure()) std::fputs(text.c_str(), stdout);
    }

    const Tables tables{{0, noise(9, 1)}, {4, std::string("text\n")}, {19, noise(30, 2)}};

    // Loaded into buffers that are watched behind their capacity.
    Outcome load_watched(const Tables &names, Tables &loaded) {
        Payload payload;
        for (const auto &[slot, data] : names) {
            x_sensor_eeprom_table &table = payload.name(slot);
            table.capacity = 40;
            std::memset(table.data, 'w', 64);
        }
        const Outcome outcome = load(payload);
        for (const auto &[slot, data] : names) {
            const x_sensor_eeprom_table &table = payload->tables[slot];
            EXPECT_EQ(std::string(reinterpret_cast<char *>(table.data) + 40, 24), std::string(24, 'w'));
            EXPECT_TRUE(table.length >= 0 && table.length <= 40) << table.length;
        }
        if (outcome.ok()) loaded = payload.tables();
        return outcome;
    }
    std::string stored(const Tables &what, std::size_t file_size, const std::string &before = {}) {
        set_contents(before.empty() ? std::string(file_size, '\xff') : before);
        const Payload payload(what);
        EXPECT_EQ(store(payload), success);
        hash = payload.hash();
        return contents();
    }
    // Nothing but the truth comes out of these contents; whether all of it does.
    bool is_whole(const std::string &bytes) {
        set_contents(bytes);
        Tables loaded = tables;
        const bool has_tables = load_watched(tables, loaded).ok();
        EXPECT_EQ(loaded, tables);
        const Payload header;
        const Outcome outcome = load_header(header);
        if (outcome.ok()) {
            EXPECT_EQ(header->header[1] + header.hash(), "imx" + hash);
        }
        EXPECT_EQ(check(hash), outcome);
        return has_tables && outcome.ok();
    }

    std::string hash;
};

TEST_F(Damage, NoFlippedBitIsReturnedAsData) {
    std::string bytes = stored(tables, 512);
    EXPECT_TRUE(is_whole(bytes));
    for (char &byte : bytes)
        for (int bit = 0; bit < 8 && byte != '\xff'; ++bit) {
            SCOPED_TRACE(testing::Message() << "byte " << &byte - bytes.data() << " bit " << bit);
            const char whole = byte;
            byte = static_cast<char>(byte ^ 1 << bit);
            EXPECT_FALSE(is_whole(bytes));
            byte = whole;
        }
}

TEST_F(Damage, TruncatedFilesAreSurvived) {
    const std::string bytes = stored(tables, 512);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        SCOPED_TRACE(size);
        is_whole(bytes.substr(0, size));
        Tables loaded;
        if (size <= 256) {
            EXPECT_EQ(load_watched(tables, loaded), (Outcome{-1, 12}));
            EXPECT_FALSE(store(Payload(tables)).ok());
        }
        EXPECT_EQ(contents().size(), size);
    }
}

TEST_F(Damage, RandomRegionsAreRefused) {
    const std::string bytes = stored(tables, 512);
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::string random = noise(512, seed);
        // Half of them with the beginning of an image, so that what follows is looked at.
        for (const std::size_t region : {0u, 256u})
            random.replace(region, seed % 2 * (seed % 12), bytes, region, seed % 2 * (seed % 12));
        set_contents(random);
        Tables loaded;
        EXPECT_EQ(load_watched(tables, loaded), (Outcome{-1, 12}));
        EXPECT_EQ(check(hash), (Outcome{-1, 12}));
        EXPECT_EQ(run(x_sensor_eeprom_store_header, Payload().get()), (Outcome{-1, 12}));
        EXPECT_EQ(contents(), random);
    }
    EXPECT_EQ(run(x_sensor_eeprom_reset), success);
    EXPECT_EQ(store(Payload(tables)), success) << "after an erasure everything can be stored again";
}

TEST_F(Damage, StoredSizesThatNoBufferHoldsAreRefused) {
    for (const int size : {-1, 12289, 20000, 41, 12288}) {
        stored({}, 65536);
        kset_init(40, 65536 - 256, -1, eeprom_calib_read, eeprom_calib_write);
        kset_add_int(21, "t0_size", -1, 100000, size);
        kset_add_hex(1, "t0", size == 12288 ? 12288 : 45, nullptr);
        ASSERT_EQ(kset_write(), 0);
        Tables loaded;
        EXPECT_EQ(load_watched({{0, ""}}, loaded), (Outcome{-1, 12})) << size;
    }
}

// The contents after each byte that a store writes: whole writes are found by failing them one by one, and a write
// that is cut has changed the file from its start to the cut.
TEST_F(Damage, AStoreCutAtAnyByteLeavesOldNewOrNothing) {
    const Tables a{{0, noise(20, 3)}, {1, noise(7, 4)}}, b{{0, noise(12, 5)}, {1, noise(30, 6)}},
        none{{0, ""}, {1, ""}};
    const std::string erased(512, '\xff'), with_a = stored(a, 512);
    const struct {
        const std::string &before;
        const Tables &old, &fresh;
    } cases[] = {
        {erased, none, a}, {with_a, a, b}, {stored(b, 512), b, a}, {with_a, a, {{0, noise(20, 7)}, {1, noise(7, 8)}}}};
    for (const auto &c : cases) {
        const std::string after = stored(c.fresh, 512, c.before);
        std::vector<std::string> states{c.before};
        for (std::size_t write = 2; states.back() != after; ++write) {
            set_contents(c.before);
            with_fault({.name = "write", .nth = write}, [&] { return store(Payload(c.fresh)); });
            states.push_back(contents());
            ASSERT_LT(write, 10u);
        }
        std::string last;
        for (std::size_t write = 1; write < states.size(); ++write)
            for (std::size_t cut = 0; cut <= after.size(); ++cut) {
                const std::string bytes = states[write].substr(0, cut) + states[write - 1].substr(cut);
                if (bytes == std::exchange(last, bytes)) continue;
                set_contents(bytes);
                Tables loaded;
                if (load_watched(c.fresh, loaded).ok()) {
                    EXPECT_TRUE(loaded == c.old || loaded == c.fresh) << write << ": " << cut;
                }
                EXPECT_EQ(check(hash).ok(), bytes == after) << write << ": " << cut;
            }
    }
}

}  // namespace
}  // namespace ostdrv::test
