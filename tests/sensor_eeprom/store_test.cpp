#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

using Store = Eeprom;

TEST_F(Store, WhatWasStoredIsLoadedCheckedAndDigested) {
    Tables all;
    for (int slot = 0; slot < 20; ++slot) all[slot] = noise(slot == 7 ? 1 : 12288, unsigned(slot));
    for (const Tables &tables : {Tables{}, Tables{{0, noise(100, 1)}, {19, std::string("\0\n", 2)}}, all}) {
        std::string bytes;
        Payload loaded;
        for (const auto &[slot, data] : tables) {
            bytes += data;
            loaded.name(slot);
        }
        erase(tables == all ? 256 * 1024 : 512);
        const Payload stored(tables);
        ASSERT_EQ(store(stored), success);
        EXPECT_EQ(stored.hash(), openssl_md5(bytes));
        EXPECT_EQ(load(loaded), success);
        EXPECT_EQ(loaded.tables(), tables);
        EXPECT_EQ(check(stored.hash()), success);
        EXPECT_EQ(check(std::string(16, 'x')), (Outcome{-1, 17}));
        EXPECT_EQ(printed,
                  "Cached md5 is [xxxxxxxxxxxxxxxx] eeprom md5 is [" + std::string(stored.hash().c_str()) + "]\n");
    }
}

TEST_F(Store, MakesItsCallsInOrder) {
    erase(1024);
    const Payload payload({{5, "abc"}, {0, "z"}});
    std::string calls;
    for (const std::string &call : calls_of([&] { ASSERT_EQ(store(payload), success); }))
        if (call.starts_with("kset_")) calls += call.substr(5) + " ";
    const std::string sizes = "init(40, 768, -1) add_int(21, t0_size, 0, 12288, 0) add_int(26, t5_size, 0, 12288, 0) ";
    const std::string data = "add_hex(1, t0, 1) add_hex(6, t5, 3) ";
    EXPECT_EQ(calls, sizes + data + "set_hex(1) set_int(21, 1) set_hex(6) set_int(26, 3) write() shutdown() " + sizes +
                         "read() get_int(21) get_int(26) " + data +
                         "read() get_hex(1) get_hex(6) get_int(21) get_hex(1) get_int(26) get_hex(6) shutdown() "
                         "init(11, 256, -1) add_string(1, header_sensor, 32, '') "
                         "add_string(2, header_version, 32, '') add_string(3, header_lens, 32, '') "
                         "add_string(4, header_sn, 32, '') add_hex(10, header_hash, 16) read() set_string(1) "
                         "set_string(2) set_string(3) set_string(4) set_hex(10) write() shutdown() ");

    const std::string declared =
        "Created size setting [21] with name [t0_size] with default value [0]\n"
        "Created size setting [26] with name [t5_size] with default value [0]\n";
    const std::string data_declared =
        "Created data setting [1] with name [t0] and length [1]\n"
        "Created data setting [6] with name [t5] and length [3]\n";
    EXPECT_EQ(printed, declared + data_declared +
                           "Updating data setting [1] with name [t0] with [1] bytes of data\n"
                           "Updating size setting [21] with value [1]\n"
                           "Updating data setting [6] with name [t5] with [3] bytes of data\n"
                           "Updating size setting [26] with value [3]\n"
                           "Saving data to EEPROM\n"
                           "Reload data from EEPROM\n" +
                           declared +
                           "Size of [t0] expected to be [1]\n"
                           "Size of [t5] expected to be [3]\n" +
                           data_declared +
                           "Found table [t0] with [1] bytes of data updating md5\n"
                           "Found table [t5] with [3] bytes of data updating md5\n"
                           "Computing final md5 and saving to EEPROM\n");
}

TEST_F(Store, RefusesAnInvalidPayloadBeforeAnything) {
    const std::function<void(Payload &)> spoilers[] = {
        [](Payload &p) { std::strcpy(p->header[2], "S5L"); }, [](Payload &p) { std::strcpy(p->header[2], "s5l2"); },
        [](Payload &p) { p->tables[4].length = 0; },          [](Payload &p) { p->tables[4].length = -1; },
        [](Payload &p) { p->tables[4].capacity = 0; },        [](Payload &p) { p->tables[4].data = nullptr; },
    };
    for (const auto &spoil : spoilers) {
        Payload payload({{4, "data"}});
        const x_sensor_eeprom_table whole = payload->tables[4];
        spoil(payload);
        EXPECT_EQ(calls_of([&] { EXPECT_EQ(store(payload), (Outcome{-1, 15})); }), Calls{});
        EXPECT_EQ(printed, "");
        payload->tables[4] = whole;
    }
    EXPECT_EQ(run(x_sensor_eeprom_store, nullptr), (Outcome{-1, 15}));
}

TEST_F(Store, WritesNothingWhenTheTablesDoNotFit) {
    const struct {
        std::size_t file_size;
        int length, status;
    } cases[] = {{1024, 1025, 14}, {1024, 1024, 13}, {100, 10, 13}, {40000, 12289, 13}};
    std::string large = noise(16384, 9);
    for (const auto &c : cases) {
        Payload payload({{2, "x"}});
        x_sensor_eeprom_table &table = payload->tables[2];
        const auto own = std::exchange(table, {"t2", reinterpret_cast<uint8_t *>(large.data()), 16384, c.length});
        erase(c.file_size);
        EXPECT_EQ(store(payload), (Outcome{-1, c.status})) << c.file_size << " for " << c.length;
        EXPECT_EQ(contents(), std::string(c.file_size, '\xff'));
        table = own;
    }
}

TEST_F(Store, ReadBackRefusesTablesOfZerosAndTooSmallBuffers) {
    erase(1024);
    const Payload zeros({{1, "first"}, {2, std::string(5, '\0')}});
    std::memset(zeros->hash, 'h', 16);
    EXPECT_EQ(store(zeros), (Outcome{-1, 12}));
    EXPECT_EQ(zeros.hash(), std::string(16, 'h'));
    EXPECT_EQ(contents().substr(0, 256), std::string(256, '\xff')) << "no header over tables that are not there";
    EXPECT_EQ(load(zeros), (Outcome{-1, 12}));

    Payload narrow({{1, "first"}, {2, "0123456789"}});
    EXPECT_EQ(store(narrow), success);
    narrow->tables[2].capacity = 9;
    std::memset(narrow->tables[2].data, 'g', 10);
    EXPECT_EQ(load(narrow), (Outcome{-1, 12}));
    EXPECT_EQ(narrow->tables[2].length, 0);
    EXPECT_EQ(std::memcmp(narrow->tables[2].data, "gggggggggg", 10), 0);
}

TEST_F(Store, HeaderTextsFillTheirFieldsAndAreNeverEmpty) {
    erase(512);
    Payload payload;
    for (int id : {1, 3, 4}) std::strcpy(payload->header[id], "0123456789012345678901234567890");
    std::strcpy(payload->header[2], "any version, 31 characters long");
    std::memset(payload->hash, 7, 16);
    EXPECT_EQ(run(x_sensor_eeprom_store_header, payload.get()), success);
    Payload loaded;
    EXPECT_EQ(load_header(loaded), success);
    EXPECT_EQ(std::memcmp(loaded->header[1], payload->header[1], 4 * 32 + 16), 0);
    EXPECT_EQ(check(payload.hash()), (Outcome{-1, 18}));
    EXPECT_EQ(printed, "");

    const std::string before = contents();
    std::memset(payload->header[3], 'x', 32);
    EXPECT_EQ(run(x_sensor_eeprom_store_header, payload.get()), (Outcome{-1, 13}));
    EXPECT_EQ(contents(), before);

    for (const int empty : {1, 4, 10}) {
        const Payload part;
        part->header[empty % 10][0] = '\0';
        std::memset(part->hash, empty == 10 ? 0 : 1, 16);
        EXPECT_EQ(run(x_sensor_eeprom_store_header, part.get()), success);
        EXPECT_EQ(check(part.hash()), (Outcome{-1, 4})) << empty;
        EXPECT_EQ(load_header(part), (Outcome{-1, 4})) << empty;
    }
}

TEST_F(Store, ResetErasesAndAnErasedEepromHoldsNothing) {
    erase(4096);
    Payload payload({{0, "data"}});
    ASSERT_EQ(store(payload), success);
    EXPECT_EQ(run(x_sensor_eeprom_reset), success);
    EXPECT_EQ(printed, "EEPROM size is: 4096\n");
    EXPECT_EQ(contents(), std::string(4096, '\xff'));
    EXPECT_EQ(check(payload.hash()), (Outcome{-1, 4}));
    EXPECT_EQ(load(payload), success);
    EXPECT_EQ(payload.tables(), (Tables{{0, ""}}));
    const auto reset = [&] { return run(x_sensor_eeprom_reset); };
    EXPECT_EQ(with_fault({.name = "kos_mem_alloc"}, reset), (Outcome{-1, 0}));
}

// What each failing call gives is in the sweep's scenarios; a size that has changed since it was declared fails no
// call.
TEST_F(Store, AChangedSizeIsNotReadAndClosesTheStore) {
    for (const long size : {2L, 4L}) {
        erase(1024);
        const auto store_one = [&] { return store(Payload({{0, "one"}})); };
        const sim::Fault changed{.name = "kset_get_int", .nth = 2, .has_result = true, .result = size};
        EXPECT_EQ(with_fault(changed, store_one), (Outcome{-1, 12}));
        EXPECT_EQ(sim::fault_plan::log().back(), "kset_shutdown()");
    }
}

// An EEPROM that keeps its cells whatever is written: the table comes back without a byte.
TEST_F(Store, OfATableWithoutBytesNothingIsDigested) {
    erase(1024);
    const Payload payload({{0, "one"}});
    sim::fault_plan::start();
    sim::fault_plan::add({.name = "kset_write", .has_result = true, .result = 0});
    sim::fault_plan::add({.name = "kset_get_hex"});
    EXPECT_EQ(store(payload), success);
    sim::fault_plan::stop();
    EXPECT_EQ(payload.hash(), openssl_md5(""));
}

}  // namespace
}  // namespace ostdrv::test
