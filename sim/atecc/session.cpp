#include "session.hpp"

#include "core/board_state.hpp"

namespace ostdrv::sim::atecc {
namespace {

struct Session {
    bool open = false;
    ATCAIfaceCfg interface {};
};
Session session;

// Whether the board has a chip where this interface looks for one.
bool fitted(const ATCAIfaceCfg &interface) {
    const BoardDescription board = BoardDescription::load();
    if (!board.atecc_answers()) return false;
    if (interface.iface_type == ATCA_HID_IFACE) return board.usb;
    return interface.iface_type == ATCA_I2C_IFACE && !board.usb && interface.atcai2c.bus == board.i2c_bus &&
           interface.atcai2c.slave_address >> 1 == board.i2c_address;
}

unsigned logged_bus(const ATCAIfaceCfg *cfg) {
    return !cfg ? 0 : cfg->iface_type == ATCA_I2C_IFACE ? cfg->atcai2c.bus : static_cast<unsigned>(cfg->atcahid.idx);
}

}  // namespace

ATCA_STATUS with_chip(const std::function<ATCA_STATUS(Chip &)> &command) {
    if (!session.open) return ATCA_NOT_INITIALIZED;
    const StateLock lock;
    if (!fitted(session.interface)) return ATCA_COMM_FAIL;
    auto state = lock.held() ? State::load() : std::nullopt;
    if (!state) return ATCA_COMM_FAIL;

    const State before = *state;
    Chip chip(*state);
    const ATCA_STATUS status = command(chip);
    if (*state != before && !state->save()) return ATCA_GEN_FAIL;
    return status;
}

std::optional<ATCAIfaceType> session_interface() {
    return session.open ? std::optional(session.interface.iface_type) : std::nullopt;
}

// A call that fails ends the session that was open.
extern "C" ATCA_STATUS atcab_init(ATCAIfaceCfg *cfg) {
    const Call call(kind, "atcab_init", "%s, %u", cfg && cfg->iface_type == ATCA_HID_IFACE ? "hid" : "i2c",
                    logged_bus(cfg));
    return answered<ATCA_STATUS>(call, ATCA_COMM_FAIL, [&] {
        session.open = false;
        if (!cfg) return ATCA_BAD_PARAM;
        session = {true, *cfg};
        const ATCA_STATUS status = with_chip([](Chip &) { return ATCA_SUCCESS; });
        session.open = status == ATCA_SUCCESS;
        return status;
    });
}

extern "C" ATCADeviceType atcab_get_device_type(void) {
    const Call call(kind, "atcab_get_device_type");
    return answered<ATCADeviceType>(call, ATCA_DEV_UNKNOWN,
                                    [] { return session.open ? session.interface.devtype : ATCA_DEV_UNKNOWN; });
}

}  // namespace ostdrv::sim::atecc
