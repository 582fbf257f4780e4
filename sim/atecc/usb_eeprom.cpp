#include "usb_eeprom.hpp"

#include <algorithm>

#include "core/board_state.hpp"
#include "core/sealed_file.hpp"
#include "session.hpp"

using namespace ostdrv::sim;

namespace {

constexpr std::string_view tag = "USBKIT-1";

std::filesystem::path state_file() { return board_root() / "usb_kit.state"; }

// The kit is there for as long as its chip answers.
int transfer(const Call &call, std::size_t count, std::size_t address, const void *buffer, auto action) {
    if (call.fails()) return static_cast<int>(call.result(ATCA_COMM_FAIL));
    return with_chip([&](Chip &) {
        if (session_interface() != ATCA_HID_IFACE) return ATCA_COMM_FAIL;
        if (!buffer || address + count > sizeof(UsbEeprom)) return ATCA_BAD_PARAM;
        auto eeprom = load_usb_eeprom();
        if (!eeprom) return ATCA_COMM_FAIL;
        return action(*eeprom, eeprom->begin() + address) ? ATCA_SUCCESS : ATCA_GEN_FAIL;
    });
}

}  // namespace

namespace ostdrv::sim {

std::optional<UsbEeprom> load_usb_eeprom() {
    UsbEeprom eeprom;
    eeprom.fill(0xFF);
    std::error_code error;
    if (!std::filesystem::exists(state_file(), error)) return eeprom;
    const auto bytes = open_sealed(state_file(), tag);
    if (!bytes || bytes->size() != eeprom.size()) return std::nullopt;
    std::ranges::copy(*bytes, eeprom.begin());
    return eeprom;
}

bool save_usb_eeprom(const UsbEeprom &eeprom) { return seal(state_file(), tag, eeprom); }

}  // namespace ostdrv::sim

extern "C" int atcab_eeprom_read(uint16_t count, uint16_t address, uint8_t *buffer) {
    const Call call(CallKind::platform, "atcab_eeprom_read", "%u, %u", count, address);
    return transfer(call, count, address, buffer, [&](UsbEeprom &, UsbEeprom::iterator at) {
        std::copy_n(at, count, buffer);
        return true;
    });
}

extern "C" int atcab_eeprom_write(uint16_t count, uint16_t address, const uint8_t *buffer) {
    const Call call(CallKind::platform, "atcab_eeprom_write", "%u, %u", count, address);
    return transfer(call, count, address, buffer, [&](UsbEeprom &eeprom, UsbEeprom::iterator at) {
        std::copy_n(buffer, count, at);
        return save_usb_eeprom(eeprom);
    });
}
