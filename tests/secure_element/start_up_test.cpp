#include <cstring>
#include <optional>

#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

using Cell = std::optional<std::string>;
using namespace std::string_literals;

TEST(InterfaceRecords, HoldTheBoardsDefaultsToTheByte) {
    uint8_t i2c[88] = {};
    i2c[4] = 2;
    i2c[8] = 0xC0;
    i2c[9] = 2;
    const uint8_t tail[] = {0xDC, 0x05, 0, 0, 20};  // wake delay 1500, padding, 20 retries
    std::memcpy(i2c + 12, "\x80\x1a\x06", 3);       // 400000
    std::memcpy(i2c + 72, tail, sizeof tail);
    EXPECT_EQ(std::memcmp(&tpm_iface_config_i2c, i2c, sizeof i2c), 0);

    uint8_t hid[88] = {4, 0, 0, 0, 2};
    std::memcpy(hid + 12, "\xEB\x03\0\0\x12\x23\0\0\x40\0\0\0", 12);
    std::memcpy(hid + 24, "\x4d\x1e\x55\xb2\xf1\x6f\x11\xcf\x88\xcb\x00\x11\x11\x00\x00\x30", 16);
    std::memcpy(hid + 72, tail, sizeof tail);
    EXPECT_EQ(std::memcmp(&tpm_iface_config_hid, hid, sizeof hid), 0);
    EXPECT_EQ(g_atca_iface_cfg, nullptr);
}

class StartUp : public Atecc {
 protected:
    void put_property(const std::string &name, const Cell &cell) {
        const std::string path = "/proc/device-tree/" + name;
        if (cell)
            board.put(path, *cell);
        else
            board.remove(path);
    }
};

TEST_F(StartUp, DeviceTreeChoosesInterfaceBusAndAddress) {
    const Cell none;
    const Cell yes = "\0\0\0\1"s;
    const struct {
        const char *what;
        Cell bus, address, usb;
        bool answers;  // to i2cget
        int bus_used;
        uint8_t address_used;
        bool hid;
        const char *command;
    } cases[] = {
        {"nothing said", none, none, none, true, 2, 0xC0, false, nullptr},
        {"all said", "\0\0\0\3"s, "\0\0\0\x35"s, "\0\0\0\0"s, true, 3, 0x6A, false, nullptr},
        {"only the last byte counts", "\1\2\3\5"s, "\1\1\1\xE0"s, none, true, 5, 0xC0, false, nullptr},
        {"short cells are as absent", "\0\0\7"s, "\x11"s, "\1"s, true, 2, 0xC0, false, nullptr},
        {"empty cells are as absent", ""s, ""s, ""s, true, 2, 0xC0, false, nullptr},
        {"kit fitted, nothing on the bus", none, "\0\0\0\xE0"s, yes, false, 2, 0xC0, true,
         "system(i2cget -y 2 0x60 0x3 &>/dev/null)"},
        {"kit allowed, chip on the bus", "\0\0\0\4"s, "\0\0\0\x21"s, yes, true, 4, 0x42, false,
         "system(i2cget -y 4 0x21 0x3 &>/dev/null)"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        put_property("tpm-i2c-bus", c.bus);
        put_property("tpm-i2c-address", c.address);
        put_property("tpm-use-usb", c.usb);
        sim::fault_plan::start();
        // The chip itself need not answer: the choice is made before it is asked.
        sim::fault_plan::add({.name = "atcab_init"});
        sim::fault_plan::add({.name = "system", .lasting = true, .has_result = true, .result = c.answers ? 0 : 256});
        EXPECT_EQ(tpm_init_device(), 1);
        sim::fault_plan::stop();
        const Calls calls = sim::fault_plan::log();

        ASSERT_EQ(g_atca_iface_cfg, c.hid ? &tpm_iface_config_hid : &tpm_iface_config_i2c);
        if (!c.hid) {
            EXPECT_EQ(g_atca_iface_cfg->atcai2c.bus, c.bus_used);
            EXPECT_EQ(g_atca_iface_cfg->atcai2c.slave_address, c.address_used);
        }
        EXPECT_EQ(std::count(calls.begin(), calls.end(), c.command ? c.command : ""), c.command ? 1 : 0);
        EXPECT_EQ(std::count_if(calls.begin(), calls.end(), [](auto &s) { return s.starts_with("system("); }),
                  c.command ? 1 : 0);
    }
}

TEST_F(StartUp, TheChipSaysWhichModelItIs) {
    for (const auto &[byte, model] : {std::pair{0xC0, ATECC508A}, {0x00, ATECC608A}, {0x61, ATECC608A}}) {
        sim::change_atecc([b = byte](sim::AteccState &chip) { chip.config[13] = static_cast<uint8_t>(b); });
        EXPECT_EQ(tpm_init_device(), 0);
        EXPECT_EQ(tpm_iface_config_i2c.devtype, model);
        EXPECT_EQ(tpm_get_type(), model == ATECC508A ? 0 : 1) << "the session knows it too";
    }
}

TEST_F(StartUp, EveryChipFailureIsOneAndStopsThere) {
    const std::pair<const char *, std::size_t> calls[] = {
        {"atcab_init", 1}, {"atcab_read_config_zone", 1}, {"atcab_init", 2}};
    std::size_t made = 0;
    for (const auto &[name, nth] : calls) {
        ++made;
        EXPECT_EQ(with_fault({.name = name, .nth = nth}, tpm_init_device), 1) << name;
        EXPECT_EQ(sim::fault_plan::calls(static_cast<unsigned>(sim::CallKind::platform)), made);
    }
    uint8_t config[128] = {};
    EXPECT_EQ(with_fault({.name = "atcab_read_config_zone"}, [&] { return tpm_get_config_atecc(config); }), 2);
    EXPECT_EQ(tpm_get_config_atecc(config), 0);
    EXPECT_EQ(config[0], 0x01);
}

using StartUpTrustx = Trustx;

TEST_F(StartUpTrustx, NothingToDo) {
    const Calls calls = calls_of([] {
        EXPECT_EQ(tpm_init_device(), 0);
        EXPECT_EQ(tpm_init_config(nullptr), 0);
    });
    EXPECT_EQ(calls.size(), 2u) << "the two marker commands of the first call";
    EXPECT_EQ(g_atca_iface_cfg, nullptr);
}

}  // namespace
}  // namespace ostdrv::test
