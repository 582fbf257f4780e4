// ostdrv csr and ostdrv cert: signing requests and the two certificates of the chain.
#include <ostdrv.h>

#include <filesystem>
#include <iostream>
#include <map>

#include "chip.hpp"
#include "crypto.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Certificate {
    int (*save)(const char *path);
    int (*lock)();
    int (*export_to)(const char *path);
};

const std::map<std::string, Certificate> certificates = {
    {"signer", {tpm_cert_save_signer_cert, tpm_cert_lock_signer_cert, tpm_cert_export_signer_cert}},
    {"device", {tpm_cert_save_device_cert, tpm_cert_lock_device_cert, tpm_cert_export_device_cert}}};

struct Options {
    std::string which, file, authority, signer, device;
    bool yes = false, json = false;
} options;

const Certificate &chosen() { return certificates.at(options.which); }
std::string certificate_name() { return "the " + options.which + " certificate"; }

void request() {
    const Chip chip = connect();
    require((chip == Chip::trustx ? tpm_cert_gencsr_trustx : tpm_cert_gencsr)(options.file.c_str()),
            "make a signing request");
    // The library does not check whether the file could be written whole.
    if (std::filesystem::is_regular_file(options.file) && !is_signing_request(read_file(options.file)))
        throw Failure(options.file + " could not be written whole");
}

void save() {
    connect();
    require(chosen().save(options.file.c_str()), "save " + certificate_name());
}

void lock() {
    confirm(options.yes, "This locks " + certificate_name() + " for good, on a Trust X its private key too.");
    connect();
    require(chosen().lock(), "lock " + certificate_name());
}

void export_to_file() {
    connect();
    require(chosen().export_to(options.file.c_str()), "export " + certificate_name());
}

bool verify_chain(Chip chip, const Bytes &authority) {
    const bool has_paths = !options.signer.empty();
    if (chip == Chip::atecc && !has_paths && __get_tpm_cert_api() == &tpm_cert_api_impl_0)
        throw BadUsage("this chip keeps its certificates compressed: give the PEM files by --signer and --device");
    const char *const paths[] = {options.signer.c_str(), options.device.c_str()};
    std::uint8_t verified = 0;
    const int status = tpm_cert_verify(authority.data(), has_paths ? paths : nullptr, &verified);
    // On a Trust X this status is the verdict.
    constexpr int chain_not_verified = 15;
    if (chip == Chip::trustx && status == chain_not_verified) return false;
    require(status, "verify the chain");
    return verified == 1;
}

void verify() {
    const Bytes authority = read_public_key(options.authority);
    const bool verified = verify_chain(connect(), authority);
    if (options.json) print({{"verified", verified}});
    if (!verified) throw NotVerified("the stored chain does not lead from this authority to this device");
    if (!options.json) std::cout << "verified\n";
}

void add_file(CLI::App &command, const std::string &description) {
    command.add_option("FILE", options.file, description)->required();
}

// A command that takes "signer" or "device".
CLI::App &certificate_command(CLI::App &group, const std::string &name, const std::string &description) {
    CLI::App &command = subcommand(group, name, description);
    command.add_option("CERTIFICATE", options.which, "Which of the two")
        ->required()
        ->check(CLI::IsMember({"signer", "device"}));
    return command;
}

}  // namespace

void add_csr(CLI::App &app) {
    CLI::App &command = subcommand(app, "csr", "Write a certificate signing request for the device key");
    add_file(command, "PEM file to write");
    command.callback(request);
}

void add_cert(CLI::App &app) {
    CLI::App &group = command_group(app, "cert", "The signer's and the device's certificate");

    CLI::App &save_command = certificate_command(group, "save", "Store a certificate");
    add_file(save_command, "PEM file; with the USB kit its name holds signercert.cert or devcert.cert");
    save_command.callback(save);

    CLI::App &lock_command = certificate_command(group, "lock", "Lock a stored certificate for good");
    add_yes(lock_command, options.yes);
    lock_command.callback(lock);

    CLI::App &export_command = certificate_command(group, "export", "Write a stored certificate to a file");
    add_file(export_command, "PEM file to write");
    export_command.callback(export_to_file);

    CLI::App &verify_command = subcommand(group, "verify", "Check the stored chain, and on an ATECC the device key");
    verify_command.add_option("--ca", options.authority, "The authority's certificate or public key, PEM or DER")
        ->type_name("FILE")
        ->required();
    CLI::Option *signer =
        verify_command.add_option("--signer", options.signer, "The signer's PEM file, for certificate layout 0");
    CLI::Option *device =
        verify_command.add_option("--device", options.device, "The device's PEM file, for certificate layout 0");
    signer->type_name("FILE")->needs(device);
    device->type_name("FILE")->needs(signer);
    add_json(verify_command, options.json);
    verify_command.callback(verify);
}

}  // namespace ostdrv::tool
