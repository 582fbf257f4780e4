// ostdrv key: the device's key pair and signatures.
#include <ostdrv.h>

#include "chip.hpp"
#include "consent.hpp"
#include "crypto.hpp"
#include "families.hpp"
#include "files.hpp"
#include "key_files.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

constexpr std::size_t signature_file_limit = 1024;

struct Options {
    std::string file, digest, signature, key, out;
    bool pem = false, der = false;
    Output output;
    Consent consent;
} options;

Bytes digest() {
    if (options.digest.empty()) return sha256_of_file(options.file);
    Bytes bytes = from_hex(options.digest, "--digest");
    if (bytes.size() != digest_size) throw BadUsage("--digest is not 32 bytes, 64 hexadecimal digits");
    return bytes;
}

// Text on standard output, or bytes in a file.
void deliver(const char *name, const std::string &text, const Bytes &bytes) {
    if (!options.out.empty()) write_file(options.out, bytes);
    if (options.out.empty() || options.output.json()) options.output.print({{name, text}}, text);
}

void deliver_public_key(const Bytes &point) {
    if (!options.pem) return deliver("public_key", to_hex(point), point);
    const std::string pem = public_key_pem(point);
    deliver("public_key", pem.substr(0, pem.size() - 1), bytes_of(pem));
}

void generate() {
    const Chip chip = connect_provisioned();
    const bool is_new = chip == Chip::trustx || !is_locked(chip, atecc::device_key_slot);
    const char *const what = chip == Chip::atecc ? "This makes the device key and locks it for good."
                             : has_device_key(chip)
                                 ? "This replaces the device key, which is lost for good."
                                 : "This makes the device key; if there is one, it is lost for good.";
    if (is_new && !options.consent.agreed(what)) return;
    std::uint8_t made[23 + 68];
    require(tpm_genkey(made, 68), "make the device key");
    deliver_public_key(device_public_key(chip));
}

void sign() {
    const Bytes message_digest = digest();
    const Chip chip = connect_provisioned();
    if (chip == Chip::trustx)
        throw Failure("a Trust X signs requests only ('ostdrv csr'): the library has no other signature by it");
    require_device_key(chip);
    Bytes signature(signature_size);
    require(tpm_sign_atecc(message_digest.data(), signature.data()), "sign");
    if (options.der) signature = signature_to_der(signature);
    deliver("signature", to_hex(signature), signature);
}

// 64 bytes or DER, as they are or as hexadecimal text.
Bytes read_signature(const std::string &path) {
    const Bytes file = binary_of(read_file(path, signature_file_limit), signature_size);
    return file.size() == signature_size ? file : signature_from_der(file);
}

bool matches(Chip chip, const Bytes &message_digest, const Bytes &signature, const Bytes &point) {
    if (chip == Chip::trustx) return signature_matches(message_digest, signature, point);
    bool verified = false;
    require(tpm_verify_with_ext_public_key_atecc(message_digest.data(), signature.data(), point.data(), &verified),
            "check the signature");
    return verified;
}

void verify() {
    const Bytes message_digest = digest();
    const Bytes signature = read_signature(options.signature);
    const Bytes given = options.key.empty() ? Bytes() : read_public_key(options.key);
    const Chip chip = connect_provisioned();
    const bool verified = matches(chip, message_digest, signature, given.empty() ? device_public_key(chip) : given);
    options.output.print_verdict(verified, "verified", "the signature does not match");
}

void add_digest(Command &command) {
    Option &file = command.add_file("FILE", options.file, "What is signed; its SHA-256 is taken");
    Option &digest = command.add_text("--digest", options.digest, "The SHA-256 itself").form("HEX");
    command.require_either(file, digest);
}

void add_output(Command &command, const std::string &description) {
    command.add_file("-o,--out", options.out, description);
    options.output.add_to(command);
}

void add_public_key_output(Command &command) {
    command.add_flag("--pem", options.pem, "PEM instead of the 64 bytes X and Y in hexadecimal");
    add_output(command, "Write the 64 bytes, or the PEM, to a file instead");
}

}  // namespace

void add_key(Command &program) {
    Command &group = program.add_command("key", "The device's key pair and signatures");

    Command &generate_command =
        group.add_command("generate", "Make the device key, on an ATECC once for all, and print its public half");
    options.consent.add_to(generate_command);
    add_public_key_output(generate_command);
    generate_command.examples({"ostdrv key generate --pem --out device.pub"});
    generate_command.action(generate);

    Command &public_command = group.add_command("public", "Print the device's public key");
    add_public_key_output(public_command);
    public_command.examples({"ostdrv key public", "ostdrv key public --pem --out device.pub"});
    public_command.action([] { deliver_public_key(device_public_key(connect_provisioned())); });

    Command &sign_command = group.add_command("sign", "Sign a file or digest with an ATECC's device key");
    add_digest(sign_command);
    sign_command.add_flag("--der", options.der, "A DER ECDSA-Sig-Value instead of r and s, 32 bytes each");
    add_output(sign_command, "Write the bytes to a file instead of printing hexadecimal");
    sign_command.examples({"ostdrv key sign firmware.bin --der --out firmware.sig"});
    sign_command.action(sign);

    Command &verify_command = group.add_command("verify", "Check a signature over a file or digest");
    add_digest(verify_command);
    verify_command.add_file("-s,--signature", options.signature, "The signature: r and s or DER, binary or hexadecimal")
        .required();
    verify_command.add_file("-k,--key", options.key,
                            "Public key or certificate, PEM or DER; else the device's own key");
    options.output.add_to(verify_command);
    verify_command.examples({"ostdrv key verify firmware.bin --signature firmware.sig --key device.pub"});
    verify_command.action(verify);
}

}  // namespace ostdrv::tool
