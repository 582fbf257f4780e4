#include "usb_kit.hpp"

#include <algorithm>

#include "core/board_state.hpp"
#include "core/sealed_file.hpp"
#include "session.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::string_view tag = "USBKIT-1";

std::string state_file() { return board_root() + "/usb_kit.state"; }

// The kit is there for as long as its chip answers.
template <typename Action>
int transfer(const Call &call, std::size_t count, std::size_t address, const void *buffer, Action action) {
    return answer(call, true, [&](Chip &) {
        if (session_interface() != ATCA_HID_IFACE) return ATCA_COMM_FAIL;
        if (!buffer || address + count > sizeof(UsbKit::eeprom)) return ATCA_BAD_PARAM;
        auto kit = UsbKit::load();
        if (!kit) return ATCA_COMM_FAIL;
        return action(*kit, kit->eeprom.begin() + address) ? ATCA_SUCCESS : ATCA_GEN_FAIL;
    });
}

}  // namespace

std::optional<UsbKit> UsbKit::load() {
    UsbKit kit;
    kit.eeprom.fill(0xFF);
    if (!path_exists(state_file())) return kit;
    const auto bytes = open_sealed(state_file(), tag);
    if (!bytes || bytes->size() != kit.eeprom.size()) return std::nullopt;
    std::ranges::copy(*bytes, kit.eeprom.begin());
    return kit;
}

bool UsbKit::save() const { return seal(state_file(), tag, eeprom); }

extern "C" int atcab_eeprom_read(uint16_t count, uint16_t address, uint8_t *buffer) {
    const Call call(kind, "atcab_eeprom_read", "%u, %u", count, address);
    return transfer(call, count, address, buffer, [&](UsbKit &, auto at) {
        std::copy_n(at, count, buffer);
        return true;
    });
}

extern "C" int atcab_eeprom_write(uint16_t count, uint16_t address, const uint8_t *buffer) {
    const Call call(kind, "atcab_eeprom_write", "%u, %u", count, address);
    return transfer(call, count, address, buffer, [&](UsbKit &kit, auto at) {
        std::copy_n(buffer, count, at);
        return kit.save();
    });
}

}  // namespace ostdrv::sim::atecc
