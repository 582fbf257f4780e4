#include "command.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "output.hpp"

namespace ostdrv::tool {
namespace {

bool is_flag(const CLI::Option &option) { return option.get_items_expected_max() == 0; }

// "--out" of "-o,--out".
std::string last_name(const std::string &names) { return names.substr(names.rfind(',') + 1); }

std::string shown_names(const std::set<CLI::Option *> &options) {
    Words names;
    for (const CLI::Option *const option : options) names.push_back(option->get_name());
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

int end(const Error &error, const std::string &hint) {
    message(error.what());
    if (error.status() == bad_usage) std::fprintf(stderr, "Try '%s --help'.\n", hint.c_str());
    return error.status();
}

}  // namespace

// ---- Option

Option::Option(CLI::Option &parsed, const std::string &names, Store store)
    : parsed_(parsed), name_(last_name(names)), store_(std::move(store)) {
    // More than one value is refused in this program's words.
    parsed_.multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

Option &Option::required() {
    parsed_.required();
    return *this;
}

Option &Option::needs(const Option &other) {
    parsed_.needs(&other.parsed_);
    return *this;
}

Option &Option::excludes(const Option &other) {
    parsed_.excludes(&other.parsed_);
    return *this;
}

Option &Option::form(const std::string &text) {
    parsed_.type_name(text);
    return *this;
}

Option &Option::repeatable() {
    repeatable_ = true;
    parsed_.expected(-1)->allow_extra_args(parsed_.get_positional());
    return *this;
}

Option &Option::may_be_empty() {
    may_be_empty_ = true;
    return *this;
}

Option &Option::words(const Words &all) {
    words_ = all;
    return *this;
}

bool Option::given() const { return parsed_.count() > 0; }

void Option::check_values() const {
    if (is_flag(parsed_)) return;
    if (parsed_.count() > 1 && !repeatable_) throw BadUsage(name_ + " is given twice");
    for (const std::string &value : parsed_.results())
        if (value.empty() && !may_be_empty_) throw BadUsage(name_ + ": the value is empty");
}

void Option::check_others() const {
    if (!given() && parsed_.get_required()) throw BadUsage(name_ + " is missing");
    if (!given()) return;
    for (const CLI::Option *other : parsed_.get_needs())
        if (other->count() == 0) throw BadUsage(name_ + " is given without " + other->get_name());
    for (const CLI::Option *other : parsed_.get_excludes())
        if (other->count() > 0) throw BadUsage(name_ + " and " + other->get_name() + " exclude each other");
}

void Option::store() const {
    for (const std::string &value : parsed_.results()) {
        try {
            store_(value);
        } catch (const BadUsage &error) {
            throw BadUsage(name_ + ": " + error.what());
        }
    }
}

Record Option::description() const {
    Record record = described(parsed_);
    record.push_back({"words", joined(words_, " ")});
    record.push_back({"repeatable", repeatable_});
    return record;
}

// ---- Command

Command::Command(CLI::App &parsed, const Command *parent) : parsed_(parsed), parent_(parent) {
    const std::string names = "-v,--version", description = "Print version and platform, and exit";
    CLI::Option &version = *parsed_.add_flag(names, description)->disable_flag_override();
    version_ = options_.emplace_back(new Option(version, names, [](const std::string &) {})).get();
}

Command::~Command() = default;

Command &Command::add_command(const std::string &name, const std::string &description) {
    CLI::App &parsed = *parsed_.add_subcommand(name, description);
    parsed_.require_subcommand(action_ ? 0 : 1, 1);
    return *commands_.emplace_back(new Command(parsed, this));
}

Command &Command::action(std::function<void()> work) {
    action_ = std::move(work);
    parsed_.require_subcommand(0, 1);
    return *this;
}

Option &Command::add_value(const std::string &name, Option::Store store, const std::string &description) {
    CLI::Option &parsed = *parsed_.add_option(name, CLI::callback_t(), description);
    return *options_.emplace_back(new Option(parsed, name, std::move(store)));
}

Option &Command::add_flag(const std::string &name, bool &target, const std::string &description) {
    CLI::Option &parsed = *parsed_.add_flag(name, description)->disable_flag_override();
    return *options_.emplace_back(new Option(parsed, name, [&target](const std::string &) { target = true; }));
}

Option &Command::add_text(const std::string &name, std::string &target, const std::string &description) {
    return add_value(
        name, [&target](const std::string &value) { target = value; }, description);
}

Option &Command::add_file(const std::string &name, std::string &target, const std::string &description) {
    Option &option = add_text(name, target, description);
    return name.starts_with('-') ? option.form("FILE") : option;
}

Option &Command::add_texts(const std::string &name, std::vector<std::string> &target, const std::string &description) {
    return add_value(
               name, [&target](const std::string &value) { target.push_back(value); }, description)
        .repeatable();
}

Option &Command::add_real(const std::string &name, double &target, const std::string &description) {
    return add_value(
        name, [&target](const std::string &value) { target = parse_real(value); }, description);
}

Option &Command::add_word(const std::string &name, std::string &target, const Words &words,
                          const std::string &description) {
    const auto store = [&target, words](const std::string &value) { target = words[index_of(value, words)]; };
    return add_value(name, store, description + ": " + joined(words)).words(words);
}

Option &Command::add_words(const std::string &name, std::vector<std::string> &target, const Words &words,
                           const std::string &description) {
    const auto store = [&target, words](const std::string &value) { target.push_back(words[index_of(value, words)]); };
    return add_value(name, store, description + ": " + joined(words)).words(words).repeatable();
}

Option &Command::add_choice(const std::string &name, std::size_t &target, const Words &words,
                            const std::string &description) {
    const auto store = [&target, words](const std::string &value) { target = index_of(value, words); };
    return add_value(name, store, description + ": " + joined(words)).words(words);
}

void Command::require_either(Option &one, Option &other) {
    one.excludes(other);
    alternatives_.emplace_back(&one, &other);
}

Command &Command::examples(const std::vector<std::string> &command_lines) {
    std::string text = "Examples:";
    for (const std::string &line : command_lines) text += "\n  " + line;
    return footer(text);
}

Command &Command::footer(const std::string &text) {
    footer_ += (footer_.empty() ? "" : "\n\n") + text;
    parsed_.footer(footer_);
    return *this;
}

Command &Command::without_version() {
    parsed_.remove_option(&version_->parsed_);
    std::erase_if(options_, [this](const auto &option) { return option.get() == version_; });
    version_ = nullptr;
    return *this;
}

const Command *Command::chosen() const {
    for (const auto &command : commands_)
        if (command->parsed_.parsed()) return command.get();
    return nullptr;
}

const Command &Command::meant() const { return chosen() ? chosen()->meant() : *this; }

std::string Command::full_name() const { return (parent_ ? parent_->full_name() + " " : "") + parsed_.get_name(); }

bool Command::wants_help() const { return parsed_.get_help_ptr()->count() > 0; }

bool Command::wants_version() const { return version_ && version_->given(); }

Words Command::command_names() const {
    Words names;
    for (const auto &command : commands_) names.push_back(command->parsed_.get_name());
    return names;
}

Words Command::option_names() const {
    Words names;
    for (const CLI::Option *option : std::as_const(parsed_).get_options())
        for (const std::string &name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

// What fits nowhere: a mistyped command or option, or one argument too many.
void Command::check_leftovers() const {
    const std::vector<std::string> leftovers = parsed_.remaining();
    // Behind -- everything is an argument.
    const bool marked = !leftovers.empty() && leftovers.front() == "--";
    if (leftovers.size() == std::size_t{marked}) return;
    const std::string &word = leftovers[marked];
    if (marked || (commands_.empty() && !word.starts_with("-")))
        throw BadUsage("'" + word + "' is one argument too many");
    if (!word.starts_with("-"))
        throw BadUsage("'" + full_name() + "' has no command '" + word + "'" + suggestion(word, command_names()));
    const std::string option = word.substr(0, word.find('='));
    const Words below = meant().option_names();
    const bool misplaced = &meant() != this && std::find(below.begin(), below.end(), option) != below.end();
    throw BadUsage("'" + full_name() + "' has no option '" + option + "'" +
                   (misplaced ? ", it goes behind '" + meant().full_name() + "'" : suggestion(option, option_names())));
}

void Command::check() const {
    check_leftovers();
    for (const auto &option : options_) option->check_values();
    for (const auto &option : options_) option->check_others();
    for (const auto &[one, other] : alternatives_)
        if (!one->given() && !other->given()) throw BadUsage("give either " + one->name_ + " or " + other->name_);
    if (const Command *const command = chosen()) return command->check();
    if (!action_) throw BadUsage("a command is missing: " + joined(command_names()));
}

void Command::carry_out() const {
    for (const auto &option : options_) option->store();
    if (const Command *const command = chosen()) return command->carry_out();
    action_();
}

Record Command::description() const {
    std::vector<Record> options{described(*parsed_.get_help_ptr())}, alternatives, commands;
    for (const auto &option : options_) options.push_back(option->description());
    for (const auto &[one, other] : alternatives_)
        alternatives.push_back({{"one", one->name_}, {"other", other->name_}});
    for (const auto &command : commands_) commands.push_back(command->description());
    return {{"name", parsed_.get_name()}, {"description", parsed_.get_description()},
            {"acts", action_ != nullptr}, {"footer", footer_},
            {"options", options},         {"alternatives", alternatives},
            {"commands", commands}};
}

// ---- Program

Program::Program(const std::string &name, const std::string &description)
    : Program(std::make_unique<CLI::App>(description, name)) {}

Program::Program(std::unique_ptr<CLI::App> app) : Command(*app, nullptr), app_(std::move(app)) {}

Program::~Program() = default;

// The one thing that the library does not go on after: an option without its value, or a flag with one.
BadUsage Program::mismatch(const std::vector<std::string> &arguments) const {
    for (const std::string &argument : arguments) {
        const std::string name = argument.substr(0, argument.find('='));
        const CLI::Option *const option = meant().parsed_.get_option_no_throw(name);
        if (option && is_flag(*option) && name != argument) return BadUsage(name + " takes no value");
    }
    return BadUsage(arguments.back() + " wants a value");
}

// Whatever else the library misses is found again, and said, by check().
void Program::parse(const std::vector<std::string> &arguments) {
    bool mismatched = false;
    try {
        app_->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ArgumentMismatch &) {
        mismatched = true;
    } catch (const CLI::ParseError &) {
    }
    // The library takes the next word as the value.
    for (const std::string &argument : arguments)
        if (argument.starts_with("--") && argument.find('=') == argument.size() - 1)
            throw BadUsage(argument.substr(0, argument.size() - 1) + ": the value is empty");
    if (mismatched && !meant().wants_help()) throw mismatch(arguments);
}

int Program::guarded(const std::vector<std::string> &arguments) {
    try {
        parse(arguments);
        if (meant().wants_help()) {
            std::fputs(parsed_.help().c_str(), stdout);
            return done;
        }
        if (meant().wants_version()) {
            std::printf("%s " OSTDRV_VERSION " (" OSTDRV_PLATFORM ")\n", parsed_.get_name().c_str());
            return done;
        }
        check();
        carry_out();
        return done;
    } catch (const Error &error) {
        return end(error, meant().full_name());
    } catch (const std::filesystem::filesystem_error &error) {
        return end(Failure(error.path1().string() + ": " + error.code().message()), "");
    } catch (const std::bad_alloc &) {
        return end(Failure("out of memory"), "");
    } catch (const std::exception &error) {
        return end(Failure(error.what()), "");
    }
}

}  // namespace ostdrv::tool
