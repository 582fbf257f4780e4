#include "eeprom.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "attributes.hpp"
#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {

void make_eeprom() {
    const auto file = *board_path(eeprom_path);
    if (!path_exists(file)) replace_content(file, std::string(eeprom_size, '\xFF'));
}

ssize_t store_cells(std::string_view bytes, off_t position) {
    const Unseen unseen;
    const auto at = static_cast<std::size_t>(position);
    if (at >= eeprom_size) return -EFBIG;
    bytes = bytes.substr(0, eeprom_size - at);
    if (BoardDescription::load().eeprom_protected) return static_cast<ssize_t>(bytes.size());

    const int file = open(board_path(eeprom_path)->c_str(), O_WRONLY | O_CLOEXEC);
    const ssize_t count = pwrite(file, bytes.data(), bytes.size(), position);
    const int error = errno;
    close(file);
    return count < 0 ? -error : count;
}

}  // namespace ostdrv::sim
