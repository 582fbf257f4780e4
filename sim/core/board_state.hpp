// Where a simulated board lives: one directory that outlives processes, as the hardware does.
//
//   board          what is fitted, as "key=value" lines (BoardDescription)
//   fs/            the files behind the device's absolute paths
//   lines/N        what the GPIO class does not show of a line
//   *.state        one file per simulated chip
#ifndef OSTDRV_SIM_BOARD_STATE_HPP
#define OSTDRV_SIM_BOARD_STATE_HPP

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace ostdrv::sim {

// $OSTDRV_SIM_ROOT, else $XDG_STATE_HOME/ostdrv-sim, else $HOME/.local/state/ostdrv-sim. Read anew at every call.
std::string board_root();

// Whether anything is there. What cannot be looked at is taken to be, and fails when it is read.
bool path_exists(const std::string &path);

// The whole file, or nothing when it cannot be read.
std::optional<std::vector<std::uint8_t>> read_file(const std::string &path);

// Writes a new file beside `path` and renames it over `path`, creating the directory when it is missing.
bool replace_file(const std::string &path, std::span<const std::uint8_t> bytes);
bool replace_file(const std::string &path, const std::string &text);

// Held while one process reads, changes and replaces a state file, so that another does not do so at the same time.
class StateLock {
 public:
    StateLock();
    ~StateLock();
    StateLock(const StateLock &) = delete;
    StateLock &operator=(const StateLock &) = delete;
    bool held() const { return descriptor_ >= 0; }

 private:
    int descriptor_;
};

inline constexpr const char *host_shell = "/bin/sh";

// What is fitted. A board directory without a description has whatever is asked of it first.
struct BoardDescription {
    std::string chip = "any";        // any, atecc508a, atecc608a, trustx or none
    bool silent = false;             // it answers nobody, as behind a broken bus
    bool usb = false;                // the ATECC sits on the USB kit instead of the I2C bus
    std::string shell = host_shell;  // what runs the device's commands: a program, with arguments if need be
    int i2c_bus = 2;
    int i2c_address = 0x60;  // seven bits
    int gpio_lines = 32;     // GPIO numbers 0 to 31
    int adc_channels = 8;
    std::string lights = "panel,red,green,blue";  // names of backlight devices
    bool led = false;                             // a status LED, driven by the board's own led_drive_set_value
    bool eeprom_protected = false;                // it acknowledges what is written and keeps its cells

    bool is_atecc() const { return chip == "any" || chip.starts_with("atecc"); }
    bool atecc_answers() const { return !silent && is_atecc(); }
    bool atecc_on_i2c() const { return atecc_answers() && !usb; }
    bool trustx_answers() const { return !silent && (chip == "any" || chip == "trustx"); }

    std::set<std::string> light_names() const;

    static BoardDescription load();
    bool save() const;

    bool operator==(const BoardDescription &) const = default;
};

}  // namespace ostdrv::sim

#endif
