// ostdrv gpio: lines of the GPIO class.
#include <fcntl.h>
#include <ostdrv.h>
#include <unistd.h>

#include <algorithm>

#include "attribute.hpp"
#include "families.hpp"
#include "gpio_line.hpp"
#include "output.hpp"
#include "repeat.hpp"

namespace ostdrv::tool {
namespace {

// Indexed by the library's codes.
const Words levels{"0", "1"};
const Words directions{"in", "out"};

struct Options {
    std::vector<std::string> lines;
    Repeat repeat;
    Output output;
} options;

int code_of(const std::string &word, const Words &words) { return static_cast<int>(index_of(word, words)); }

// What a command reads or changes of a line.
struct Setting {
    const char *what, *field;
    const Words &names;
    int (*get)(int line, int *code);
    int (*set)(int line, int code);
};
const Setting value{"value", "value", levels, x_gpio_util_get, x_gpio_util_set};
const Setting direction{"direction", "direction", directions, x_gpio_util_get_direction, x_gpio_util_direction};
const Setting edge{"edge", "edge", gpio_edges, x_gpio_util_get_edge,
                   [](int line, int code) { return x_gpio_util_edge(line, static_cast<unsigned>(code)); }};
const Setting polarity{"polarity", "active_low", levels, x_gpio_util_get_active_low, x_gpio_util_active_low};

int code_at(const Setting &setting, int line) {
    int code = 0;
    require_line(std::string("read the ") + setting.what + " of", line, [&] { return setting.get(line, &code); });
    return code;
}

std::string name_of(const Setting &setting, int code) {
    const auto index = static_cast<std::size_t>(code);
    return index < setting.names.size() ? setting.names[index] : "none";
}

Field field_of(const Setting &setting, int code) {
    return {setting.field, &setting.names == &levels ? Value(code) : Value(name_of(setting, code))};
}

void print(const Setting &setting, int line) {
    const int code = code_at(setting, line);
    options.output.print_next({{"line", line}, field_of(setting, code)},
                              std::to_string(line) + "=" + name_of(setting, code));
}

void set_code(const Setting &setting, int line, int code) {
    errno = 0;
    if (setting.set(line, code) == 0) return;
    const std::string text = line_failure(std::string("set the ") + setting.what + " of", line).what();
    throw Failure(text + (&setting == &edge && is_output(line) ? "; it is an output" : ""));
}

// Reads the lines that come without a value and sets the others; arguments are checked before the first is touched.
void read_or_set(const Setting &setting) {
    std::vector<LineArgument> arguments;
    for (const std::string &text : options.lines) {
        arguments.push_back(parse_line(text, '='));
        if (!arguments.back().wanted.empty()) code_of(arguments.back().wanted, setting.names);
    }
    for (const auto &[line, wanted] : arguments) {
        if (wanted.empty())
            print(setting, line);
        else
            set_code(setting, line, code_of(wanted, setting.names));
    }
}

// The lines of a command that takes nothing else.
std::vector<int> plain_lines(const std::string &refusal) {
    std::vector<int> lines;
    for (const std::string &text : options.lines) {
        const LineArgument argument = parse_line(text, '=');
        if (!argument.wanted.empty()) throw BadUsage(refusal);
        lines.push_back(argument.line);
    }
    return lines;
}

void get() {
    plain_lines("LINE=VALUE is for 'gpio set'");
    repeatedly(options.repeat, [] { read_or_set(value); });
}

void set() {
    for (const std::string &text : options.lines)
        if (parse_line(text, '=').wanted.empty()) throw BadUsage("give LINE=0 or LINE=1, not " + text);
    read_or_set(value);
}

void toggle() {
    const std::vector<int> lines = plain_lines("'gpio toggle' takes no values");
    for (const int line : lines)
        if (!is_output(line))
            throw Failure(line_name(line) + " is an input; 'gpio set' makes it an output and drives it");
    for (const int line : lines) {
        set_code(value, line, code_at(value, line) == 0);
        print(value, line);
    }
}

std::string line_directory(int line) { return "/sys/class/gpio/gpio" + std::to_string(line); }

// The library leaves lines exported, and what it writes with wants to read too: unexport can only be written.
int unexport_line(int line) {
    const int file = open("/sys/class/gpio/unexport", O_WRONLY | O_CLOEXEC);
    if (file < 0) return -1;
    const std::string text = std::to_string(line);
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    close(file);
    errno = error;
    return written ? 0 : -1;
}

void unexport() {
    const std::vector<int> lines = plain_lines("'gpio unexport' takes no values");
    if (const std::string missing = missing_class(); !missing.empty()) throw Failure("cannot unexport: " + missing);
    for (const int line : lines)
        if (x_sysfs_exists(line_directory(line).c_str()) != 0) throw Failure(line_name(line) + " is not exported");
    for (const int line : lines) require_line("unexport", line, [line] { return unexport_line(line); });
}

// A line may lack attributes: without an interrupt it has no edge, and some cannot change their direction.
void list() {
    if (const std::string missing = missing_class(); !missing.empty()) throw Failure("cannot list lines: " + missing);
    for (const int line : numbers_in("/sys/class/gpio", "gpio")) {
        Record record{{"line", line}};
        std::string text = std::to_string(line) + ":";
        for (const Setting *const setting : {&direction, &value, &edge, &polarity}) {
            int code = 0;
            const bool has = setting->get(line, &code) == 0;
            record.push_back(has ? field_of(*setting, code) : Field{setting->field, nullptr});
            text += std::string(" ") + setting->field + "=" + (has ? name_of(*setting, code) : "-");
        }
        options.output.print_next(record, text);
    }
}

Command &lines_command(Command &group, const char *name, const char *description, const char *form) {
    Command &command = group.add_command(name, description);
    command.add_texts(form, options.lines, "GPIO numbers").required();
    return command;
}

}  // namespace

void add_gpio(Command &program) {
    Command &group = program.add_command("gpio", "GPIO lines, by kernel GPIO number");

    Command &list_command = group.add_command("list", "Print the lines that are exported, and how they are set");
    options.output.add_to(list_command);
    list_command.examples({"ostdrv gpio list", "ostdrv gpio list --json"});
    list_command.action(list);

    Command &get_command = lines_command(group, "get", "Print the values of lines", "LINE");
    add_repeat(get_command, options.repeat);
    options.output.add_to(get_command);
    get_command.examples({"ostdrv gpio get 7 8", "ostdrv gpio get 7 --watch 100 --json"});
    get_command.action(get);

    Command &set_command = lines_command(group, "set", "Make lines outputs and drive them", "LINE=0|1");
    set_command.examples({"ostdrv gpio set 7=1 8=0"});
    set_command.action(set);

    Command &toggle_command =
        lines_command(group, "toggle", "Drive outputs to their other value, and print it", "LINE");
    options.output.add_to(toggle_command);
    toggle_command.examples({"ostdrv gpio toggle 7"});
    toggle_command.action(toggle);

    const struct {
        const char *name, *description, *form, *example;
        const Setting &setting;
    } settings[] = {{"direction", "Print or set directions", "LINE[=in|out]", "ostdrv gpio direction 7=out", direction},
                    {"edge", "Print or select the edges that wake who waits", "LINE[=falling|rising|both]",
                     "ostdrv gpio edge 3=rising", edge},
                    {"active-low", "Print or set whether lines are inverted", "LINE[=0|1]",
                     "ostdrv gpio active-low 9=1", polarity}};
    for (const auto &entry : settings) {
        Command &command = lines_command(group, entry.name, entry.description, entry.form);
        options.output.add_to(command);
        command.examples({entry.example});
        command.action([&setting = entry.setting] { read_or_set(setting); });
    }

    Command &unexport_command =
        lines_command(group, "unexport", "Give lines back to the kernel: every other command exports them", "LINE");
    unexport_command.examples({"ostdrv gpio unexport 7"});
    unexport_command.action(unexport);

    add_gpio_watch(group);
}

}  // namespace ostdrv::tool
