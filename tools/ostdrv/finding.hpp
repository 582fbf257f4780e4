// What a look at one of the library's demands on a machine has found.
#ifndef OSTDRV_TOOLS_FINDING_HPP
#define OSTDRV_TOOLS_FINDING_HPP

#include <functional>
#include <string>
#include <vector>

namespace ostdrv::tool {

// Absent is what a board may well do without.
enum class State : char { ok, absent, fault };

struct Finding {
    State state = State::ok;
    std::string found, to_do;
};

inline Finding ok(const std::string &found) { return {State::ok, found, ""}; }
inline Finding absent(const std::string &found, const std::string &to_do) { return {State::absent, found, to_do}; }
inline Finding fault(const std::string &found, const std::string &to_do) { return {State::fault, found, to_do}; }

struct Check {
    const char *name;
    std::function<Finding()> look;  // changes nothing; may take for ever
};

// The others are left out unless the first check is ok: it tells whether the board has any of the family.
struct Family {
    const char *name;
    std::vector<Check> checks;
};

Family shell_family();
Family gpio_family();
Family adc_family();
Family pwm_family();
Family eeprom_family(const std::string &file);
Family chip_family();
Family cert_family();

// The marker of the chip that an earlier detection has decided on: "atecc", "trustx" or "".
std::string remembered_chip();
// Whether anything here speaks of a secure element.
bool expects_chip();

bool runs_in_shell(const std::string &command);

// Why a file cannot be opened so, and whose it is when that is the reason; empty when it can. Neither an attribute nor
// a device notices.
std::string refusal(const std::string &path, int flags);
// What helps against one: the rights, or what puts the file there.
std::string remedy(const std::string &path, const std::string &provider);

}  // namespace ostdrv::tool

#endif
