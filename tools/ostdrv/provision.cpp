// ostdrv provision: a blank ATECC gets its configuration and both zones are locked.
#include <ostdrv.h>

#include "chip.hpp"
#include "configuration.hpp"
#include "consent.hpp"
#include "families.hpp"
#include "files.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string config;
    Consent consent;
} options;

constexpr std::size_t config_file_limit = 4096;

// 128 bytes as they are, or as hexadecimal text.
Bytes read_config(const std::string &path) {
    const Bytes config = binary_of(read_file(path, config_file_limit), atecc::config_size);
    if (config.size() != atecc::config_size)
        throw Failure(path + " is not a configuration of 128 bytes, binary or hexadecimal");
    return config;
}

Bytes config_of_chip() {
    Bytes config(atecc::config_size);
    require(tpm_get_config_atecc(config.data()), "read the chip's configuration");
    return config;
}

void check_image(const Bytes &image) {
    const bool on_i2c = g_atca_iface_cfg->iface_type == ATCA_I2C_IFACE;
    const int address = on_i2c ? g_atca_iface_cfg->atcai2c.slave_address >> 1 : -1;
    for (const std::string &fault : faults_of_configuration(image, tpm_get_type(), address))
        options.consent.object("this configuration can never work: " + fault);
}

// Returns the words for what is about to be locked; empty when all is done already.
std::string check_state(Chip chip, const Bytes &given) {
    const Provisioning state = provisioning(chip);
    if (state == Provisioning::none) {
        if (!given.empty()) check_image(given);
        return "This writes " + (given.empty() ? "the built-in configuration" : options.config) +
               " and locks the chip's configuration and data zones for good.";
    }
    const Bytes built_in(tpm_config_data, tpm_config_data + atecc::config_size);
    const std::string other = differences(config_of_chip(), given.empty() ? built_in : given, given.empty());
    const std::string reason = "the configuration zone is locked with another configuration (" + other + ")";
    if (state == Provisioning::complete) {
        if (!other.empty()) throw Failure(reason + ", nothing changed");
        return "";
    }
    if (!other.empty()) options.consent.object(reason);
    return "This locks the chip's data zone for good; the configuration zone is locked already.";
}

void provision() {
    const Bytes config = options.config.empty() ? Bytes() : read_config(options.config);
    const Chip chip = connect();
    if (chip == Chip::trustx) throw Failure("this is a Trust X, which comes provisioned: nothing changed");
    const std::string what = check_state(chip, config);
    if (what.empty()) return message("already locked, nothing changed");
    if (options.consent.agreed(what))
        require(tpm_init_config(config.empty() ? nullptr : config.data()), "provision the chip");
}

}  // namespace

void add_provision(Command &program) {
    Command &command =
        program.add_command("provision", "Write a blank ATECC's configuration and lock both of its zones");
    command.add_file("--config", options.config,
                     "Configuration zone to write, 128 bytes, binary or hexadecimal; else the built-in one");
    options.consent.add_to(command);
    options.consent.add_force_to(command);
    command.examples({"ostdrv provision --dry-run", "ostdrv provision --yes", "ostdrv provision --config config.hex"});
    command.action(provision);
}

}  // namespace ostdrv::tool
