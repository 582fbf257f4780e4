// ostdrv attr: single files of sysfs and procfs.
#include <ostdrv.h>

#include <cerrno>
#include <iostream>

#include "command.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string path, text;
    bool json = false;
} options;

void read() {
    std::string text(4097, '\0');
    if (x_sysfs_read_bytes(options.path.c_str(), text.data(), 0, 4096) != 0)
        throw system_failure("cannot read " + options.path);
    text.resize(text.find('\0'));
    if (options.json)
        print({{"path", options.path}, {"text", text}});
    else
        std::cout << text << "\n";
}

void write() {
    if (x_sysfs_write_bytes(options.path.c_str(), options.text.data(), 0, static_cast<unsigned>(options.text.size())))
        throw system_failure("cannot write " + options.path);
}

void contains() {
    const int found = x_sysfs_contains(options.path.c_str(), options.text.c_str());
    if (found < 0) throw system_failure("cannot read " + options.path);
    if (options.json)
        print({{"path", options.path}, {"contains", found == 1}});
    else
        std::cout << (found == 1 ? "yes" : "no") << "\n";
}

CLI::App &path_command(CLI::App &group, const char *name, const char *description) {
    CLI::App &command = subcommand(group, name, description);
    command.add_option("PATH", options.path, "The attribute's file")->required();
    return command;
}

}  // namespace

void add_attr(CLI::App &app) {
    CLI::App &group = command_group(app, "attr", "Attribute files of sysfs and procfs");

    CLI::App &read_command = path_command(group, "read", "Print an attribute, without its newline");
    add_json(read_command, options.json);
    read_command.callback(read);

    CLI::App &write_command = path_command(group, "write", "Write a text to an attribute, without a newline");
    write_command.add_option("TEXT", options.text, "What to write")->required();
    write_command.callback(write);

    CLI::App &contains_command = path_command(group, "contains", "Print whether a word is among an attribute's words");
    contains_command.add_option("WORD", options.text, "The word")->required();
    add_json(contains_command, options.json);
    contains_command.callback(contains);
}

}  // namespace ostdrv::tool
