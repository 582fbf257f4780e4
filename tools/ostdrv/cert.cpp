// ostdrv cert: the two certificates of the chain.
#include <ostdrv.h>

#include <algorithm>

#include "certificate_store.hpp"
#include "consent.hpp"
#include "crypto.hpp"
#include "families.hpp"
#include "files.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

struct Certificate {
    std::string name;
    int (*save)(const char *path);
    int (*lock)();
    int (*export_to)(const char *path);
};

const Words names{"signer", "device"};
const Certificate certificates[] = {
    {"the signer certificate", tpm_cert_save_signer_cert, tpm_cert_lock_signer_cert, tpm_cert_export_signer_cert},
    {"the device certificate", tpm_cert_save_device_cert, tpm_cert_lock_device_cert, tpm_cert_export_device_cert}};

struct Options {
    std::size_t which = 0;
    std::string file, authority, signer, device;
    Output output;
    Consent consent;
} options;

const Certificate &chosen() { return certificates[options.which]; }
Which which() { return Which{static_cast<int>(options.which)}; }

bool has_paths() { return !options.signer.empty(); }

void check_unlocked(Chip chip, const CertificateStore &store) {
    for (const unsigned place : store.written(which()))
        if (is_locked(chip, place))
            throw Failure(slot_name(chip, place) + " is locked for good, so " + chosen().name + " stays as it is");
}

// The library reads PEM. Where it keeps nothing of the file, one without the text around it will do, whatever was
// given.
void save() {
    const CertificateFile certificate = read_certificate(options.file);
    const Chip chip = connect_provisioned();
    const CertificateStore store(chip);
    if (chip == Chip::atecc && !serial_number())
        options.consent.object(
            "the chip has no serial number, which also chooses the certificates' layout: 'ostdrv "
            "serial set' comes first");
    store.check_fit(which(), certificate, options.file);
    if (which() == Which::device && certificate.public_key != device_public_key(chip))
        throw Failure(options.file + " was issued for another key than this device's (see 'ostdrv key public')");
    check_unlocked(chip, store);
    const MemoryFile plain(bytes_of(certificate_pem(certificate.der)));
    require(chosen().save(store.needs_files() ? options.file.c_str() : plain.path()), "save " + chosen().name);
}

void export_to_file() {
    const Chip chip = connect_provisioned();
    const CertificateStore store(chip);
    if (store.needs_files())
        throw Failure(
            "certificate layout 0 has no export (status 14): the PEM files that were saved are the certificates");
    const std::string none = chosen().name + " is not stored yet";
    if (chip == Chip::trustx && read_slot(chip, store.written(which()).front()).empty()) throw Failure(none);
    const MemoryFile file;
    const int status = chosen().export_to(file.path());
    // What slots hold before any save makes no certificate, or one that nobody can read.
    if (status == TPM_ERR_CERTIFICATE || (status == TPM_OK && !is_certificate(file.content()))) throw Failure(none);
    require(status, "export " + chosen().name);
    write_file(options.file, file.content());
}

void check_paths(const CertificateStore &store) {
    if (store.needs_files() && !has_paths())
        throw BadUsage("this chip keeps its certificates compressed: give the PEM files by --signer and --device");
    if (!store.needs_files() && has_paths())
        throw BadUsage("--signer and --device are for certificate layout 0: this chip keeps its certificates whole");
    if (store.needs_files() && !store.has_copies())
        for (const std::string &path : {options.signer, options.device}) read_certificate(path);
}

bool verify_chain(Chip chip, const Bytes &authority) {
    const char *const paths[] = {options.signer.c_str(), options.device.c_str()};
    std::uint8_t verified = 0;
    const int status = tpm_cert_verify(authority.data(), has_paths() ? paths : nullptr, &verified);
    // On a Trust X this status is the verdict.
    if (chip == Chip::trustx && status == TPM_ERR_CERTIFICATE) return false;
    if (status == TPM_ERR_CERTIFICATE) throw Failure("a certificate of the chain is not stored yet");
    require(status, "verify the chain");
    return verified == 1;
}

const std::string not_verified_text = "the stored chain does not lead from this authority to this device";

void verify() {
    const Bytes authority = read_public_key(options.authority);
    const Chip chip = connect_provisioned();
    check_paths(CertificateStore(chip));
    options.output.print_verdict(verify_chain(chip, authority), "verified", not_verified_text);
}

// Verifying asks an ATECC for a proof that it holds the key. A Trust X signs requests only, so one of these is the
// proof.
void check_trustx_key() {
    const MemoryFile request, stored;
    require(tpm_cert_gencsr_trustx(request.path()), "have the chip prove that it holds its key");
    require(tpm_cert_export_device_cert(stored.path()), "read the device certificate");
    if (!is_signing_request(request.content()) ||
        read_certificate(stored.path()).public_key != device_public_key(Chip::trustx))
        throw Failure("the chip does not hold the key of the device certificate");
}

void check_chain(Chip chip, const Bytes &authority) try {
    if (!verify_chain(chip, authority)) throw Failure(not_verified_text);
    if (chip == Chip::trustx) check_trustx_key();
} catch (const Failure &failure) {
    options.consent.object(failure.what());
}

void lock() {
    const Bytes authority = options.authority.empty() ? Bytes() : read_public_key(options.authority);
    const Chip chip = connect_provisioned();
    const CertificateStore store(chip);
    const std::vector<unsigned> places = store.locked_together(which());
    if (std::all_of(places.begin(), places.end(), [chip](unsigned place) { return is_locked(chip, place); }))
        return message(store.names(places) + " are locked already, nothing changed");
    if (authority.empty()) {
        options.consent.object("without --ca nobody knows whether the stored chain leads to this device");
    } else {
        check_paths(store);
        check_chain(chip, authority);
    }
    const bool with_key = chip == Chip::trustx && which() == Which::device;
    if (options.consent.agreed("This locks " + store.names(places) + ", " + chosen().name +
                               (with_key ? " and the device key, for good." : ", for good.")))
        require(chosen().lock(), "lock " + chosen().name);
}

// A command that takes "signer" or "device".
Command &certificate_command(Command &group, const std::string &name, const std::string &description) {
    Command &command = group.add_command(name, description);
    command.add_choice("CERTIFICATE", options.which, names, "Which of the two").required();
    return command;
}

Option &add_chain(Command &command) {
    Option &authority =
        command.add_file("--ca", options.authority, "The authority's certificate or public key, PEM or DER");
    Option &signer = command.add_file("--signer", options.signer, "The signer's PEM file, for certificate layout 0");
    Option &device = command.add_file("--device", options.device, "The device's PEM file, for certificate layout 0");
    signer.needs(device);
    device.needs(signer);
    return authority;
}

}  // namespace

void add_cert(Command &program) {
    Command &group = program.add_command("cert", "The signer's and the device's certificate");

    Command &save_command = certificate_command(group, "save", "Store a certificate that this chip can verify later");
    save_command
        .add_file("FILE", options.file,
                  "PEM or DER; on layout 0 PEM, behind the USB kit named signercert.cert or devcert.cert")
        .required();
    options.consent.add_force_to(save_command);
    save_command.examples({"ostdrv cert save signer signer.pem", "ostdrv cert save device device.pem"});
    save_command.action(save);

    Command &lock_command =
        certificate_command(group, "lock", "Lock a stored certificate for good, when the chain verifies");
    add_chain(lock_command);
    options.consent.add_to(lock_command);
    options.consent.add_force_to(lock_command);
    lock_command.examples({"ostdrv cert lock device --ca ca.pem --dry-run", "ostdrv cert lock device --ca ca.pem"});
    lock_command.action(lock);

    Command &export_command = certificate_command(group, "export", "Write a stored certificate to a file");
    export_command.add_file("FILE", options.file, "PEM file to write, - for standard output").required();
    export_command.examples(
        {"ostdrv cert export device device.pem", "ostdrv cert export device - | openssl x509 -noout -text"});
    export_command.action(export_to_file);

    Command &verify_command = group.add_command("verify", "Check the stored chain, and on an ATECC the device key");
    add_chain(verify_command).required();
    options.output.add_to(verify_command);
    verify_command.examples({"ostdrv cert verify --ca ca.pem"});
    verify_command.action(verify);
}

}  // namespace ostdrv::tool
