#include <cstring>
#include <optional>

#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

using Cell = std::optional<std::string>;
using namespace std::string_literals;

using StartUp = Atecc;

TEST_F(StartUp, DeviceTreeChoosesInterfaceBusAndAddress) {
    const Cell none;
    const Cell yes = "\0\0\0\1"s;
    const struct {
        const char *what;
        Cell bus, address, usb;
        int bus_used;
        uint8_t address_used;
        int i2cget;  // what it exits with; -1 when it is not run
    } cases[] = {
        {"nothing said", none, none, none, 2, 0xC0, -1},
        {"only the last byte counts", "\1\2\3\5"s, "\1\1\1\xB5"s, "\1\1\1\0"s, 5, 0x6A, -1},
        {"short cells are as absent", "\0\0\7"s, ""s, "\1"s, 2, 0xC0, -1},
        {"kit fitted, nothing on the bus", none, none, yes, 2, 0xC0, 1},
        {"kit allowed, chip on the bus", "\0\0\0\4"s, "\0\0\0\x21"s, yes, 4, 0x42, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        for (const auto &[name, cell] :
             {std::pair{"tpm-i2c-bus", c.bus}, {"tpm-i2c-address", c.address}, {"tpm-use-usb", c.usb}}) {
            const std::string property = std::string("/proc/device-tree/") + name;
            cell ? board.put(property, *cell) : board.remove(property);
        }
        sim::fault_plan::start();
        // The chip itself need not answer: the choice is made before it is asked.
        sim::fault_plan::add({.name = "atcab_init"});
        sim::fault_plan::add({.name = "system", .has_result = true, .result = c.i2cget * 256});
        EXPECT_EQ(tpm_init_device(), 1);
        sim::fault_plan::stop();

        ASSERT_EQ(g_atca_iface_cfg, c.i2cget == 1 ? &tpm_iface_config_hid : &tpm_iface_config_i2c);
        if (c.i2cget != 1) {
            EXPECT_EQ(g_atca_iface_cfg->atcai2c.bus, c.bus_used);
            EXPECT_EQ(g_atca_iface_cfg->atcai2c.slave_address, c.address_used);
        }
        char command[64];
        std::snprintf(command, sizeof command, "system(i2cget -y %d 0x%x 0x3 &>/dev/null)", c.bus_used,
                      c.address_used / 2u);
        Calls commands = sim::fault_plan::log();
        std::erase_if(commands, [](const std::string &call) { return !call.starts_with("system("); });
        EXPECT_EQ(commands, c.i2cget < 0 ? Calls{} : Calls{command});
    }
}

TEST_F(StartUp, TheChipSaysWhichModelItIs) {
    for (const auto &[byte, model] : {std::pair{0xC0, ATECC508A}, {0x00, ATECC608A}, {0x61, ATECC608A}}) {
        change<AteccState>([b = byte](AteccState &chip) { chip.config[13] = static_cast<uint8_t>(b); });
        const Calls calls = calls_of([] { EXPECT_EQ(tpm_init_device(), 0); });
        EXPECT_EQ(Calls(calls.end() - 3, calls.end()),
                  (Calls{"atcab_init(i2c, 2)", "atcab_read_config_zone()", "atcab_init(i2c, 2)"}));
        EXPECT_EQ(tpm_get_type(), model == ATECC508A ? 0 : 1) << "the session knows it too";
    }
}

TEST_F(Trustx, NeedsNoStartUp) {
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_init_device() + tpm_init_config(nullptr), 0); }), Calls{});
    EXPECT_EQ(g_atca_iface_cfg, nullptr);
}

}  // namespace
}  // namespace ostdrv::test
