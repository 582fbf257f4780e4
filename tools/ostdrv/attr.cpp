// ostdrv attr: single files of sysfs and procfs.
#include <ostdrv.h>
#include <sys/stat.h>

#include <cerrno>

#include "attribute.hpp"
#include "families.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string path, text;
    Output output;
} options;

// x_sysfs_read_bytes ends at the first read that gives less than it asked for, and so amid a longer file of procfs.
void read() {
    std::string text = read_attribute(options.path);
    if (text.ends_with('\n')) text.pop_back();
    options.output.print({{"path", options.path}, {"text", text}}, text);
}

void write() {
    const std::string what = "cannot write " + options.path;
    errno = 0;
    if (x_sysfs_write_bytes(options.path.c_str(), options.text.data(), 0, static_cast<unsigned>(options.text.size())) ==
        0)
        return;
    if (errno == 0) throw Failure(what + ": it took a part of the text only");
    const std::string reason = system_failure(what).what();
    struct stat status = {};
    const bool known = errno == EACCES && stat(options.path.c_str(), &status) == 0;
    throw Failure(reason + (known && (status.st_mode & 0444) == 0
                                ? "; it can only be written, and the library opens what it writes for reading too"
                                : ""));
}

constexpr std::size_t searched_bytes = 256;

void contains() {
    if (options.text.find(' ') != std::string::npos) throw BadUsage("WORD: words have no blanks in them");
    if (const std::size_t size = read_attribute(options.path).size(); size > searched_bytes)
        throw Failure(options.path + " has " + std::to_string(size) + " bytes, of which the library searches " +
                      std::to_string(searched_bytes));
    errno = 0;
    const int found = x_sysfs_contains(options.path.c_str(), options.text.c_str());
    // Of an empty file it reads nothing, which is no failure.
    if (found < 0 && errno != 0) throw system_failure("cannot read " + options.path);
    if (options.output.json() || found == 1)
        options.output.print({{"path", options.path}, {"contains", found == 1}}, "yes");
    if (found != 1) throw NotVerified(options.path + " does not contain the word " + options.text);
}

Command &path_command(Command &group, const char *name, const char *description) {
    Command &command = group.add_command(name, description);
    command.add_text("PATH", options.path, "The attribute's file").required();
    return command;
}

}  // namespace

void add_attr(Command &program) {
    Command &group = program.add_command("attr", "Attribute files of sysfs and procfs");

    Command &read_command = path_command(group, "read", "Print the whole of an attribute, without its newline");
    options.output.add_to(read_command);
    read_command.examples({"ostdrv attr read /sys/class/backlight/panel/brightness"});
    read_command.action(read);

    Command &write_command = path_command(group, "write", "Write a text to an attribute, without a newline");
    write_command.add_text("TEXT", options.text, "What to write").required();
    write_command.examples({"ostdrv attr write /sys/class/backlight/panel/brightness 128"});
    write_command.action(write);

    Command &contains_command = path_command(
        group, "contains", "Tell whether a word is among an attribute's words, which blanks separate: status 0 or 3");
    contains_command.add_text("WORD", options.text, "The word").required();
    options.output.add_to(contains_command);
    contains_command.examples({"ostdrv attr contains /sys/class/gpio/gpio4/edge both"});
    contains_command.action(contains);
}

}  // namespace ostdrv::tool
