// ostdrv doctor: whether this machine brings what the library needs.
#include <algorithm>

#include "families.hpp"
#include "finding.hpp"
#include "output.hpp"
#include "time_limit.hpp"

namespace ostdrv::tool {
namespace {

const Words state_names{"ok", "absent", "fault"};

struct Options {
    Words families;
    std::string eeprom;
    Output output;
} options;

// ---- One check

constexpr std::chrono::seconds limit(3);

std::string packed(const Finding &finding) {
    return static_cast<char>(finding.state) + finding.found + '\0' + finding.to_do;
}

Finding unpacked(const std::string &text) {
    const std::size_t end = text.find('\0', 1);
    return {State{text[0]}, text.substr(1, end - 1), text.substr(end + 1)};
}

std::string look(const Check &check) {
    try {
        return packed(check.look());
    } catch (const Error &error) {
        return packed(fault(error.what(), "the file named; dmesg may tell more"));
    }
}

Finding look_in_time(const Check &check) {
    const auto text = within(limit, [&check] { return look(check); });
    if (!text) return fault("no answer within 3 seconds", "a bus or driver hangs, dmesg may name it");
    if (text->empty()) return fault("the look at it was cut short", "room in memory");
    return unpacked(*text);
}

void print(const Family &family, const Check &check, const Finding &finding) {
    const std::string &state = state_names[static_cast<std::size_t>(finding.state)];
    const std::string name = std::string(family.name) + "." + check.name;
    const auto padded = [](std::string text, std::size_t width) {
        text.resize(std::max(width, text.size()), ' ');
        return text;
    };
    const bool is_done = finding.to_do.empty();
    options.output.print_next({{"family", family.name},
                               {"check", check.name},
                               {"state", state},
                               {"found", finding.found},
                               {"to_do", is_done ? Value() : Value(finding.to_do)}},
                              padded(state, 8) + padded(name, 17) + finding.found +
                                  (is_done ? "" : "\n" + std::string(25, ' ') + "to do: " + finding.to_do));
}

// ---- All of them

struct Outcome {
    std::size_t checks = 0, faults = 0, families_there = 0;
};

void examine(const Family &family, bool is_needed, Outcome &outcome) {
    for (const Check &check : family.checks) {
        Finding finding = look_in_time(check);
        const bool is_there = &check != &family.checks.front() || finding.state == State::ok;
        if (!is_there && is_needed) finding.state = State::fault;
        print(family, check, finding);
        ++outcome.checks;
        outcome.faults += finding.state == State::fault;
        if (!is_there) return;
    }
    ++outcome.families_there;
}

std::vector<Family> all_families() {
    return {shell_family(), gpio_family(), adc_family(), pwm_family(), eeprom_family(options.eeprom),
            chip_family(),  cert_family()};
}

Words family_names() {
    Words names;
    for (const Family &family : all_families()) names.emplace_back(family.name);
    return names;
}

// Has to be there.
bool is_needed(const Family &family) {
    if (std::string_view(family.name) == "eeprom" && !options.eeprom.empty()) return true;
    return std::ranges::count(options.families, family.name) > 0;
}

void examine_all() {
    const bool are_all = options.families.empty();
    if (options.eeprom.empty() && std::ranges::count(options.families, "eeprom") > 0)
        throw BadUsage("the path of the EEPROM is the application's: name it with --eeprom FILE");
    Outcome outcome;
    for (const Family &family : all_families())
        if (are_all || is_needed(family)) examine(family, is_needed(family), outcome);
    if (outcome.faults > 0)
        throw Failure(std::to_string(outcome.faults) + " of " + std::to_string(outcome.checks) +
                      " checks found a fault");
    // A shell is everywhere.
    if (are_all && outcome.families_there <= 1)
        throw Failure("there is nothing of a board here; is this the device? 'ostdrv-sim -- COMMAND' plays one");
}

}  // namespace

void add_doctor(Command &program) {
    Command &command =
        program.add_command("doctor", "Check what the library needs of this machine, and change nothing");
    command.add_words("FAMILY", options.families, family_names(), "What has to be there");
    command.add_file("--eeprom", options.eeprom, "The sensor module's EEPROM, which has to be there");
    options.output.add_to(command);
    command.examples({"ostdrv doctor", "ostdrv doctor gpio chip --json",
                      "ostdrv doctor --eeprom /sys/bus/i2c/devices/1-0050/eeprom"});
    command.footer(
        "Without FAMILY all families are looked for, and a board may do without any of them: what it has not is "
        "absent.\n"
        "A fault makes the exit status 1. Each check has 3 seconds. docs/bring-up.md tells the whole.");
    command.action(examine_all);
}

}  // namespace ostdrv::tool
