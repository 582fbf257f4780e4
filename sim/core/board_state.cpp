#include "board_state.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "fault_plan.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;

std::string board_root() {
    if (const char *root = std::getenv("OSTDRV_SIM_ROOT"); root && *root)
        return (fs::path(root) / "").parent_path();  // without a slash at its end
    if (const char *state = std::getenv("XDG_STATE_HOME"); state && *state) return fs::path(state) / "ostdrv-sim";
    const char *home = std::getenv("HOME");
    return fs::path(home && *home ? home : "/tmp") / ".local/state/ostdrv-sim";
}

bool path_exists(const std::string &path) {
    Unseen unseen;
    struct stat unused;
    return stat(path.c_str(), &unused) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

std::optional<std::vector<std::uint8_t>> read_file(const std::string &path) {
    Unseen unseen;
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    for (char piece[4096]; file.read(piece, sizeof piece), file.gcount() > 0;)
        bytes.insert(bytes.end(), reinterpret_cast<const std::uint8_t *>(piece),
                     reinterpret_cast<const std::uint8_t *>(piece) + file.gcount());
    if (file.bad()) return std::nullopt;
    return bytes;
}

bool replace_file(const std::string &path, std::span<const std::uint8_t> bytes) {
    Unseen unseen;
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    std::string fresh = path + ".XXXXXX";
    const int descriptor = mkstemp(fresh.data());
    if (descriptor < 0) return false;
    bool whole = fchmod(descriptor, 0644) == 0;
    for (std::size_t done = 0; whole && done < bytes.size();) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        whole = count > 0;
        done += whole ? static_cast<std::size_t>(count) : 0;
    }
    whole = close(descriptor) == 0 && whole;
    if (whole) fs::rename(fresh, path, error);
    if (whole && !error) return true;
    fs::remove(fresh, error);
    return false;
}

bool replace_file(const std::string &path, const std::string &text) {
    return replace_file(path, std::span(reinterpret_cast<const std::uint8_t *>(text.data()), text.size()));
}

StateLock::StateLock() {
    Unseen unseen;
    std::error_code error;
    fs::create_directories(board_root(), error);
    descriptor_ = open((board_root() + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor_ >= 0) flock(descriptor_, LOCK_EX);
}

StateLock::~StateLock() {
    Unseen unseen;
    if (descriptor_ >= 0) close(descriptor_);
}

BoardDescription BoardDescription::load() {
    Unseen unseen;
    BoardDescription board;
    std::ifstream file(board_root() + "/board");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (key == "chip") board.chip = value;
        if (key == "silent") board.silent = value == "1";
        if (key == "usb") board.usb = value == "1";
        if (key == "shell") board.shell = value;
        if (key == "led") board.led = value == "1";
        if (key == "eeprom_protected") board.eeprom_protected = value == "1";
        if (key == "i2c_bus") board.i2c_bus = std::atoi(value.c_str());
        if (key == "gpio_lines") board.gpio_lines = std::atoi(value.c_str());
        if (key == "adc_channels") board.adc_channels = std::atoi(value.c_str());
        if (key == "lights") board.lights = value;
        if (key == "i2c_address") board.i2c_address = static_cast<int>(std::strtol(value.c_str(), nullptr, 0));
    }
    return board;
}

std::set<std::string> BoardDescription::light_names() const {
    std::set<std::string> names;
    std::istringstream list(lights);
    for (std::string name; std::getline(list, name, ',');)
        if (!name.empty()) names.insert(name);
    return names;
}

bool BoardDescription::save() const {
    Unseen unseen;
    std::ostringstream text;
    text << "chip=" << chip << "\nsilent=" << silent << "\nusb=" << usb << "\nshell=" << shell
         << "\ni2c_bus=" << i2c_bus << "\ngpio_lines=" << gpio_lines << "\nadc_channels=" << adc_channels
         << "\nlights=" << lights << "\nled=" << led << "\neeprom_protected=" << eeprom_protected << "\ni2c_address=0x"
         << std::hex << i2c_address << "\n";
    return replace_file(board_root() + "/board", text.str());
}

}  // namespace ostdrv::sim
