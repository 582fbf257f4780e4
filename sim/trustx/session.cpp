#include "session.hpp"

#include "core/board_state.hpp"

namespace ostdrv::sim::trustx {
namespace {

int sessions = 0;

}  // namespace

bool open_session() {
    if (!BoardDescription::load().trustx_answers()) return false;
    ++sessions;
    return true;
}

bool close_session() {
    if (sessions == 0) return false;
    --sessions;
    return true;
}

int open_sessions() { return sessions; }

}  // namespace ostdrv::sim::trustx
