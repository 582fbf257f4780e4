// The command line: a program, its commands, their options and arguments. The command-line library itself is seen by
// command.cpp alone, and none of its messages reaches the user.
//
//     Command &command = parent.add_command("sign", "Sign a file");
//     command.add_file("FILE", options.file, "What is signed").required();
//     command.add_flag("--der", options.der, "A DER signature");
//     command.examples({"ostdrv key sign firmware.bin --out firmware.sig"});
//     command.action(sign);
//
// When the action runs, every value that was given has been checked and stored; the others keep what their targets
// held. No value may be empty, no option comes twice, whatever is mistyped is named. What only the action can see it
// says by throwing one of the errors of error.hpp.
#ifndef OSTDRV_TOOLS_COMMAND_HPP
#define OSTDRV_TOOLS_COMMAND_HPP

#include <concepts>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "error.hpp"
#include "words.hpp"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace ostdrv::tool {

struct Field;

// An option such as "-o,--out", or an argument such as "FILE".
class Option {
 public:
    // Takes one value; BadUsage when its form is wrong.
    using Store = std::function<void(const std::string &value)>;

    Option &required();
    // Given only together with the other, or only without it.
    Option &needs(const Option &other);
    Option &excludes(const Option &other);
    // What stands for the value in the help.
    Option &form(const std::string &text);
    // An option that may come several times, an argument that may be several.
    Option &repeatable();
    // For a text that may well be nothing.
    Option &may_be_empty();

    bool given() const;

 private:
    friend class Command;
    CLI::Option &parsed_;
    std::string name_;  // as the user writes it: "--out", "FILE"
    Store store_;
    Words words_;  // what the value is one of
    bool repeatable_ = false, may_be_empty_ = false;

    Option(CLI::Option &parsed, const std::string &names, Store store);
    Option &words(const Words &all);
    void check_values() const;
    void check_others() const;
    void store() const;
    std::vector<Field> description() const;
};

class Command {
 public:
    ~Command();
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    // A command below this one. Without an action it wants one of its own commands.
    Command &add_command(const std::string &name, const std::string &description);
    Command &action(std::function<void()> work);

    Option &add_flag(const std::string &name, bool &target, const std::string &description);
    // A file, "-" where standard input or output is meant; whatever reads or writes it is in files.hpp.
    Option &add_file(const std::string &name, std::string &target, const std::string &description);
    Option &add_text(const std::string &name, std::string &target, const std::string &description);
    Option &add_texts(const std::string &name, std::vector<std::string> &target, const std::string &description);
    Option &add_real(const std::string &name, double &target, const std::string &description);
    // One of the words, several of them, or one by its index.
    Option &add_word(const std::string &name, std::string &target, const Words &words, const std::string &description);
    Option &add_words(const std::string &name, std::vector<std::string> &target, const Words &words,
                      const std::string &description);
    Option &add_choice(const std::string &name, std::size_t &target, const Words &words,
                       const std::string &description);
    // A decimal or 0x hexadecimal number between the bounds.
    template <std::integral Number>
    Option &add_number(const std::string &name, Number &target, const std::string &description,
                       std::int64_t minimum = std::numeric_limits<Number>::min(),
                       std::int64_t maximum = std::numeric_limits<Number>::max()) {
        return add_value(
                   name,
                   [&target, minimum, maximum](const std::string &value) {
                       target = static_cast<Number>(parse_number(value, minimum, maximum));
                   },
                   description)
            .form("NUMBER");
    }
    // Several of them.
    template <std::integral Number>
    Option &add_numbers(const std::string &name, std::vector<Number> &target, const std::string &description,
                        std::int64_t minimum = std::numeric_limits<Number>::min(),
                        std::int64_t maximum = std::numeric_limits<Number>::max()) {
        return add_value(
                   name,
                   [&target, minimum, maximum](const std::string &value) {
                       target.push_back(static_cast<Number>(parse_number(value, minimum, maximum)));
                   },
                   description)
            .repeatable();
    }
    // A value of any other form.
    Option &add_value(const std::string &name, Option::Store store, const std::string &description);
    // One of the two must be given, not both.
    void require_either(Option &one, Option &other);

    // Shown behind the options by --help.
    Command &examples(const std::vector<std::string> &command_lines);
    Command &footer(const std::string &text);
    // For a command whose own --version means something else.
    Command &without_version();

 private:
    friend class Program;
    CLI::App &parsed_;
    const Command *const parent_;
    std::vector<std::unique_ptr<Option>> options_;
    std::vector<std::unique_ptr<Command>> commands_;
    std::vector<std::pair<const Option *, const Option *>> alternatives_;
    Option *version_ = nullptr;
    std::function<void()> action_;
    std::string footer_;

    Command(CLI::App &parsed, const Command *parent);
    // Throws BadUsage for the first thing that is wrong with what was parsed.
    void check() const;
    void check_leftovers() const;
    // Stores the values and runs the action of the command that was meant.
    void carry_out() const;
    // Of what was parsed: the command below this one, and the last one.
    const Command *chosen() const;
    const Command &meant() const;
    bool wants_help() const;
    bool wants_version() const;
    std::string full_name() const;
    Words command_names() const;
    Words option_names() const;
    // Everything that was added, for describe.cpp.
    std::vector<Field> description() const;
};

// A whole program. Its version and platform are compiled in.
class Program : public Command {
 public:
    Program(const std::string &name, const std::string &description);
    ~Program();

    // Parses, checks, runs the action, and turns every outcome into an exit status. A program that is linked with
    // describe.cpp prints what it is made of instead, as JSON: its manual and its completions are made from that.
    int run(int argc, const char *const *argv);

 private:
    std::unique_ptr<CLI::App> app_;

    explicit Program(std::unique_ptr<CLI::App> app);
    BadUsage mismatch(const std::vector<std::string> &arguments) const;
    void parse(const std::vector<std::string> &arguments);
    int guarded(const std::vector<std::string> &arguments);
};

}  // namespace ostdrv::tool

#endif
