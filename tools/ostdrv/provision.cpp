// ostdrv provision: a blank ATECC gets its configuration and both zones are locked.
#include <ostdrv.h>

#include <algorithm>
#include <cctype>

#include "chip.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string config;
    bool yes = false;
} options;

// 128 bytes as they are, or as hexadecimal text.
Bytes read_config(const std::string &path) {
    Bytes file = read_file(path);
    if (file.size() == sizeof tpm_config_data) return file;
    const bool text = std::all_of(file.begin(), file.end(), [](int c) { return std::isxdigit(c) || std::isspace(c); });
    Bytes config = text ? from_hex({reinterpret_cast<const char *>(file.data()), file.size()}, path) : Bytes();
    if (config.size() != sizeof tpm_config_data)
        throw Failure(path + " is not a configuration of 128 bytes, binary or hexadecimal");
    return config;
}

void provision() {
    const Bytes config = options.config.empty() ? Bytes() : read_config(options.config);
    confirm(options.yes, "This locks the chip's configuration and data zones for good.");
    connect();
    require(tpm_init_config(config.empty() ? nullptr : config.data()), "provision the chip");
}

}  // namespace

void add_provision(CLI::App &app) {
    CLI::App &command = subcommand(app, "provision", "Write a blank ATECC's configuration and lock both of its zones");
    command
        .add_option("--config", options.config,
                    "Configuration zone to write, 128 bytes, binary or hexadecimal; else the built-in one")
        ->type_name("FILE");
    add_yes(command, options.yes);
    command.callback(provision);
}

}  // namespace ostdrv::tool
