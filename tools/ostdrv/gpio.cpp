// ostdrv gpio: lines of the GPIO class, and waiting for their edges.
#include <ostdrv.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <limits>

#include "families.hpp"
#include "repeat.hpp"

namespace ostdrv::tool {
namespace {

using Names = std::vector<std::string>;  // indexed by the library's codes

const Names levels{"0", "1"};
const Names directions{"in", "out"};
const Names edges{"falling", "rising", "both"};

struct Options {
    std::vector<std::string> lines;
    Repeat repeat;
    int count = 0, timeout_ms = -1;
    bool json = false;
} options;

// A line, and behind a separator what is wanted of it.
struct LineArgument {
    int line;
    std::string wanted;
};

LineArgument parse_line(const std::string &text, char separator) {
    const std::size_t end = text.find(separator);
    const auto line = parse_number(text.substr(0, end), "LINE", 0, std::numeric_limits<int>::max());
    return {static_cast<int>(line), end == std::string::npos ? "" : text.substr(end + 1)};
}

int code_of(const std::string &name, const Names &names) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) return static_cast<int>(found - names.begin());
    std::string choices;
    for (const std::string &choice : names) choices += (choices.empty() ? "" : ", ") + choice;
    throw BadUsage("\"" + name + "\" is none of " + choices);
}

// What a command reads or changes of a line.
struct Setting {
    const char *what;
    const Names &names;
    int (*get)(int line, int *code);
    int (*set)(int line, int code);
};
const Setting value{"value", levels, x_gpio_util_get, x_gpio_util_set};
const Setting direction{"direction", directions, x_gpio_util_get_direction, x_gpio_util_direction};
const Setting edge{"edge", edges, x_gpio_util_get_edge,
                   [](int line, int code) { return x_gpio_util_edge(line, static_cast<unsigned>(code)); }};
const Setting polarity{"polarity", levels, x_gpio_util_get_active_low, x_gpio_util_active_low};

void require_done(int status, const std::string &verb, const Setting &setting, int line) {
    if (status != 0) throw Failure("cannot " + verb + " the " + setting.what + " of line " + std::to_string(line));
}

std::string name_of(const Setting &setting, int line) {
    int code = 0;
    require_done(setting.get(line, &code), "read", setting, line);
    const auto index = static_cast<std::size_t>(code);
    return index < setting.names.size() ? setting.names[index] : "none";
}

// Reads the lines that come without a value and sets the others; arguments are checked before the first is touched.
void read_or_set(const Setting &setting) {
    std::vector<LineArgument> arguments;
    for (const std::string &text : options.lines) {
        arguments.push_back(parse_line(text, '='));
        if (!arguments.back().wanted.empty()) code_of(arguments.back().wanted, setting.names);
    }
    Json result = Json::object();
    for (const LineArgument &argument : arguments) {
        if (!argument.wanted.empty()) {
            const int code = code_of(argument.wanted, setting.names);
            require_done(setting.set(argument.line, code), "set", setting, argument.line);
            continue;
        }
        const std::string name = name_of(setting, argument.line);
        if (options.json)
            result[std::to_string(argument.line)] = name;
        else
            std::cout << argument.line << "=" << name << "\n";
    }
    if (options.json) print(result);
}

void get() {
    for (const std::string &text : options.lines)
        if (!parse_line(text, '=').wanted.empty()) throw BadUsage("LINE=VALUE is for 'gpio set'");
    repeatedly(options.repeat, [] { read_or_set(value); });
}

void set() {
    for (const std::string &text : options.lines)
        if (parse_line(text, '=').wanted.empty()) throw BadUsage("give LINE=0 or LINE=1, not " + text);
    read_or_set(value);
}

// Lines that are prepared for a wait and released at the end.
class WatchedLines {
 public:
    explicit WatchedLines(std::vector<x_gpio_poll_entry> entries) : entries_(std::move(entries)) {
        if (entries_.size() > 16) throw BadUsage("at most 16 lines can be waited on");
        if (x_gpio_util_poll_multiple_setup(entries_.data(), size()) != 0) throw Failure("cannot wait on these lines");
    }
    ~WatchedLines() { x_gpio_poll_multiple_cleanup(entries_.data(), size()); }
    WatchedLines(const WatchedLines &) = delete;
    WatchedLines &operator=(const WatchedLines &) = delete;

    bool wait(int timeout_ms) { return x_gpio_util_poll_multiple(entries_.data(), size(), timeout_ms) == 0; }
    // Prints at most so many of the edges seen and returns how many.
    int report(int most) {
        int reported = 0;
        for (x_gpio_poll_entry &entry : entries_) {
            if (!entry.fired) continue;
            entry.fired = 0;
            if (reported == most) continue;
            std::cout << entry.gpio << "=" << entry.value << std::endl;
            ++reported;
        }
        return reported;
    }

 private:
    std::vector<x_gpio_poll_entry> entries_;
    int size() const { return static_cast<int>(entries_.size()); }
};

void watch() {
    std::vector<x_gpio_poll_entry> entries;
    for (const std::string &text : options.lines) {
        const LineArgument argument = parse_line(text, ':');
        const int code = code_of(argument.wanted.empty() ? "both" : argument.wanted, edges);
        entries.push_back({.gpio = argument.line, .edge = code, .value = 0, .fired = 0, .fd = -1});
    }
    WatchedLines lines(std::move(entries));
    const int wanted = options.count > 0 ? options.count : std::numeric_limits<int>::max();
    for (int seen = 0; seen < wanted; seen += lines.report(wanted - seen)) {
        if (lines.wait(options.timeout_ms)) continue;
        if (options.count == 0) return;
        throw Failure("saw " + std::to_string(seen) + " of " + std::to_string(wanted) + " edges before the timeout");
    }
}

CLI::App &lines_command(CLI::App &group, const char *name, const char *description, const char *form) {
    CLI::App &command = subcommand(group, name, description);
    command.add_option("LINES", options.lines, "GPIO numbers")->required()->type_name(form);
    return command;
}

}  // namespace

void add_gpio(CLI::App &app) {
    CLI::App &group = command_group(app, "gpio", "GPIO lines, by kernel GPIO number");

    CLI::App &get_command = lines_command(group, "get", "Print the values of lines", "LINE...");
    add_repeat(get_command, options.repeat);
    add_json(get_command, options.json);
    get_command.callback(get);

    lines_command(group, "set", "Make lines outputs and drive them", "LINE=0|1...").callback(set);

    const struct {
        const char *name, *description, *form;
        const Setting &setting;
    } settings[] = {{"direction", "Print or set directions", "LINE[=in|out]...", direction},
                    {"edge", "Print or select the edges that wake who waits", "LINE[=falling|rising|both]...", edge},
                    {"active-low", "Print or set whether lines are inverted", "LINE[=0|1]...", polarity}};
    for (const auto &entry : settings) {
        CLI::App &command = lines_command(group, entry.name, entry.description, entry.form);
        add_json(command, options.json);
        command.callback([&setting = entry.setting] { read_or_set(setting); });
    }

    CLI::App &watch_command = lines_command(group, "watch", "Print each edge of up to 16 inputs as LINE=VALUE",
                                            "LINE[:falling|rising|both]...");
    add_number(watch_command, "-n,--count", options.count, "End after so many edges", 1);
    add_number(watch_command, "-t,--timeout", options.timeout_ms,
               "End when none has come for so many milliseconds; a failure when --count was given", 0);
    watch_command.callback(watch);
}

}  // namespace ostdrv::tool
