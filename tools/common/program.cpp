#include "program.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace ostdrv::tool {
namespace {

std::string program_name = "ostdrv";

const CLI::App &deepest(const CLI::App &app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.back());
}

// "ostdrv cert save": what to ask for help.
std::string full_name(const CLI::App &command) {
    const CLI::App *parent = command.get_parent();
    return parent ? full_name(*parent) + " " + command.get_name() : command.get_name();
}

int usage_error(const CLI::App &app, std::string_view text) {
    message(text);
    std::cerr << "Try '" << full_name(deepest(app)) << " --help'.\n";
    return bad_usage;
}

int parse(CLI::App &app, int argc, const char *const *argv) {
    try {
        app.parse(argc, argv);
        return done;
    } catch (const CLI::CallForHelp &) {
        std::cout << app.help();
        return done;
    } catch (const CLI::CallForVersion &) {
        std::cout << program_name << " " OSTDRV_VERSION "\n";
        return done;
    } catch (const CLI::ParseError &error) {
        return usage_error(app, error.what());
    } catch (const BadUsage &error) {
        return usage_error(app, error.what());
    } catch (const Error &error) {
        message(error.what());
        return error.status();
    } catch (const std::exception &error) {
        message(error.what());
        return failed;
    }
}

}  // namespace

Failure system_failure(const std::string &what) { return Failure(what + ": " + std::strerror(errno)); }

void message(std::string_view text) {
    std::cout.flush();
    std::cerr << program_name << ": " << text << "\n";
}

std::int64_t parse_number(const std::string &text, const std::string &what, std::int64_t minimum,
                          std::int64_t maximum) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char *const end = text.data() + text.size();
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || (hexadecimal && number < 0) || number < minimum || number > maximum)
        throw CLI::ValidationError(
            what, "'" + text + "' is not a number from " + std::to_string(minimum) + " to " + std::to_string(maximum));
    return number;
}

CLI::App &subcommand(CLI::App &parent, const std::string &name, const std::string &description) {
    CLI::App &command = *parent.add_subcommand(name, description);
    command.set_version_flag("-v,--version", OSTDRV_VERSION, "Print the version and exit");
    return command;
}

CLI::App &command_group(CLI::App &parent, const std::string &name, const std::string &description) {
    CLI::App &group = subcommand(parent, name, description);
    group.require_subcommand(1);
    return group;
}

int run(CLI::App &app, int argc, const char *const *argv) {
    program_name = app.get_name();
    app.set_version_flag("-v,--version", OSTDRV_VERSION, "Print the version and exit");
    const int status = parse(app, argc, argv);
    std::cout.flush();
    if (std::cout && std::fflush(stdout) == 0) return status;
    message("cannot write standard output");
    return status == done ? failed : status;
}

}  // namespace ostdrv::tool
