// The last step of a program that describes another, of which it has all but run.cpp: it prints the commands, with
// everything that was added to them, as one JSON object.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "command.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

// As the user writes it: the long name before the short one.
std::string shown_name(const CLI::Option &option) {
    return option.get_lnames().empty() ? option.get_name() : "--" + option.get_lnames().front();
}

std::string shown_names(const std::set<CLI::Option *> &options) {
    Words names;
    for (const CLI::Option *const option : options) names.push_back(shown_name(*option));
    std::ranges::sort(names);
    return joined(names, " ");
}

Record described(const CLI::Option &option) {
    Words names;
    for (const std::string &name : option.get_snames()) names.push_back("-" + name);
    for (const std::string &name : option.get_lnames()) names.push_back("--" + name);
    const std::string form = option.get_positional() ? option.get_name() : option.get_type_name();
    return {{"names", joined(names, " ")},
            {"form", form.empty() && option.get_items_expected_max() > 0 ? "TEXT" : form},
            {"required", option.get_required()},
            {"needs", shown_names(option.get_needs())},
            {"excludes", shown_names(option.get_excludes())},
            {"description", option.get_description()}};
}

}  // namespace

Record Option::description() const {
    Record record = described(parsed_);
    record.push_back({"words", joined(words_, " ")});
    record.push_back({"repeatable", repeatable_});
    return record;
}

Record Command::description() const {
    std::vector<Record> options{described(*parsed_.get_help_ptr())}, alternatives, commands;
    for (const auto &option : options_) options.push_back(option->description());
    for (const auto &[one, other] : alternatives_)
        alternatives.push_back({{"one", shown_name(one->parsed_)}, {"other", shown_name(other->parsed_)}});
    for (const auto &command : commands_) commands.push_back(command->description());
    return {{"name", parsed_.get_name()}, {"description", parsed_.get_description()},
            {"acts", action_ != nullptr}, {"footer", footer_},
            {"options", options},         {"alternatives", alternatives},
            {"commands", commands}};
}

int Program::run(int, const char *const *) {
    std::puts(json_of(description(), 1).c_str());
    return std::fflush(stdout) == 0 ? done : failed;
}

}  // namespace ostdrv::tool
