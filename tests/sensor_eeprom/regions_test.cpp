#include <kos.h>

#include "core/live_blocks.hpp"
#include "eeprom.hpp"

namespace ostdrv::test {
namespace {

struct Regions : Eeprom {
    std::string buffer = std::string(8192, 'b');

    // A load only sets the path here.
    void use(const std::string &bytes) {
        set_contents(bytes);
        load(Payload());
    }
};

TEST_F(Regions, WithoutAPathNothingIsTouched) {
    // None of these opens the settings store, which is what sets the path.
    EXPECT_EQ(load(Payload()), (Outcome{-1, 11}));
    erase(512);
    EXPECT_EQ(run(x_sensor_eeprom_store, nullptr), (Outcome{-1, 15}));
    EXPECT_EQ(run(x_sensor_eeprom_reset), success);
    const std::function<int()> actions[] = {
        [&] { return eeprom_header_read(buffer.data(), 1); }, [&] { return eeprom_header_write(buffer.data(), 257); },
        [&] { return eeprom_calib_read(buffer.data(), 1); }, [&] { return eeprom_calib_write(buffer.data(), 1); }};
    for (const auto &action : actions) {
        EXPECT_EQ(printing(action), -1);
        EXPECT_EQ(printed, "EEPROM sysfs path not set");
    }
}

TEST_F(Regions, TransfersStartAtTheirRegion) {
    const std::string bytes = noise(2048, 1);
    use(bytes);
    EXPECT_EQ(printing([&] { return eeprom_header_read(buffer.data(), 256); }), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(buffer, bytes.substr(0, 256) + std::string(7936, 'b'));
    EXPECT_EQ(eeprom_calib_read(buffer.data(), 3), 0);
    EXPECT_EQ(buffer.substr(0, 4), bytes.substr(256, 3) + bytes[3]);
    EXPECT_EQ(eeprom_calib_read(buffer.data(), 4096), 0) << "a file that ends earlier counts as read";
    EXPECT_EQ(buffer, bytes.substr(256) + std::string(4096 - 1792, '\0') + std::string(4096, 'b'));

    EXPECT_EQ(eeprom_header_write("HHHH", 4), 0);
    EXPECT_EQ(eeprom_calib_write(std::string(100, 'C').c_str(), 100), 0);
    EXPECT_EQ(contents(), "HHHH" + bytes.substr(4, 252) + std::string(100, 'C') + bytes.substr(356));
}

TEST_F(Regions, FailuresLeaveTheBufferAndSayWhatTheyPromise) {
    use(std::string(256, 'x'));
    const std::string untouched = buffer, never = "none", end = " device [" + file + "]\r\n";
    const struct {
        std::function<int()> action;
        std::string failing;
        std::string text;
    } cases[] = {
        {[&] { return eeprom_calib_read(buffer.data(), 16); }, never, ""},
        {[&] { return eeprom_header_read(buffer.data(), 257); }, never, "Invalid len to read [257] > [256]"},
        {[&] { return eeprom_header_write(buffer.data(), ~0u); }, never, "Invalid len to write [-1] > [256]"},
        {[&] { return eeprom_header_read(buffer.data(), 16); }, "read",
         "Failed to read [16] bytes from offset [0]" + end},
        {[&] { return eeprom_calib_write(buffer.data(), 9); }, "write",
         "Failed to write [9] bytes to offset [256]" + end},
        {[&] { return eeprom_calib_read(buffer.data(), 16); }, "kos_mem_alloc", "Memory buffer allocation failed"}};
    for (const auto &c : cases) {
        EXPECT_EQ(with_fault({.name = c.failing}, [&] { return printing(c.action); }), -1);
        EXPECT_EQ(printed, c.text);
        EXPECT_EQ(buffer, untouched);
    }
}

TEST(Payload, IsMadeEmptyAndFreesWhatIsItsOwn) {
    const std::size_t before = sim::live_blocks();
    x_sensor_eeprom_payload_free(nullptr);
    x_sensor_eeprom_payload *const payload = x_sensor_eeprom_payload_init();
    ASSERT_NE(payload, nullptr);
    for (const x_sensor_eeprom_table &table : payload->tables) {
        EXPECT_EQ(table.capacity, 12288u);
        EXPECT_EQ(table.length, 0);
        EXPECT_EQ(table.name[0], '\0');
    }
    std::uint8_t *const kept[] = {payload->tables[3].data, payload->tables[19].data};
    payload->tables[3].capacity = 0;
    payload->tables[19].capacity = 12289;
    x_sensor_eeprom_payload_free(payload);
    EXPECT_EQ(sim::live_blocks(), before + 2);
    for (std::uint8_t *data : kept) kos_mem_free(data);
}

}  // namespace
}  // namespace ostdrv::test
