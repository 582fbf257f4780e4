// ostdrv key: the device's key pair and signatures.
#include <ostdrv.h>

#include <algorithm>
#include <cctype>
#include <iostream>

#include "chip.hpp"
#include "crypto.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

constexpr std::size_t digest_size = 32;
constexpr std::size_t signature_size = 64;

struct Options {
    std::string file, digest, signature, key, out;
    bool yes = false, pem = false, der = false, json = false;
} options;

Bytes digest() {
    if (options.digest.empty() == options.file.empty()) throw BadUsage("give either FILE or --digest");
    if (options.digest.empty()) return sha256(read_file(options.file));
    Bytes bytes = from_hex(options.digest, "--digest");
    if (bytes.size() != digest_size) throw BadUsage("--digest is not 32 bytes, 64 hexadecimal digits");
    return bytes;
}

// Text on standard output, bytes in a file.
void deliver(const std::string &name, const Bytes &bytes) {
    if (!options.out.empty()) write_file(options.out, bytes);
    if (options.json)
        print({{name, to_hex(bytes)}});
    else if (options.out.empty())
        std::cout << to_hex(bytes) << "\n";
}

void deliver_public_key(const Bytes &point) {
    if (!options.pem) return deliver("public_key", point);
    const std::string pem = public_key_pem(point);
    if (options.json)
        print({{"public_key", pem}});
    else if (options.out.empty())
        std::cout << pem;
    if (!options.out.empty()) write_file(options.out, Bytes(pem.begin(), pem.end()));
}

void generate() {
    const Chip chip = connect();
    if (chip == Chip::trustx)
        confirm(options.yes, "This replaces the device key, if there is one.");
    else if (!is_locked(chip, 0))
        confirm(options.yes, "This makes the device key and locks it for good.");
    std::uint8_t made[23 + 68];
    require(tpm_genkey(made, 68), "make the device key");
    deliver_public_key(device_public_key(chip));
}

void sign() {
    const Bytes message_digest = digest();
    if (connect() == Chip::trustx)
        throw Failure("a Trust X signs requests only ('ostdrv csr'): the library has no other signature by it");
    Bytes signature(signature_size);
    require(tpm_sign_atecc(message_digest.data(), signature.data()), "sign");
    deliver("signature", options.der ? signature_to_der(signature) : signature);
}

// 64 bytes or DER, as they are or as hexadecimal text.
Bytes read_signature(const std::string &path) {
    Bytes file = read_file(path);
    const bool text = std::all_of(file.begin(), file.end(), [](int c) { return std::isxdigit(c) || std::isspace(c); });
    if (text && file.size() != signature_size)
        file = from_hex({reinterpret_cast<char *>(file.data()), file.size()}, path);
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
    const Chip chip = connect();
    const bool verified = matches(chip, message_digest, signature, given.empty() ? device_public_key(chip) : given);
    if (options.json) print({{"verified", verified}});
    if (!verified) throw NotVerified("the signature does not match");
    if (!options.json) std::cout << "verified\n";
}

void add_digest(CLI::App &command) {
    command.add_option("FILE", options.file, "What is signed; its SHA-256 is taken");
    command.add_option("--digest", options.digest, "The SHA-256 itself")->type_name("HEX");
}

void add_output(CLI::App &command, const std::string &description) {
    command.add_option("-o,--out", options.out, description)->type_name("FILE");
    add_json(command, options.json);
}

void add_public_key_output(CLI::App &command) {
    command.add_flag("--pem", options.pem, "PEM instead of the 64 bytes X and Y in hexadecimal");
    add_output(command, "Write the 64 bytes, or the PEM, to a file instead");
}

}  // namespace

void add_key(CLI::App &app) {
    CLI::App &group = command_group(app, "key", "The device's key pair and signatures");

    CLI::App &generate_command =
        subcommand(group, "generate", "Make the device key, on an ATECC once for all, and print its public half");
    add_yes(generate_command, options.yes);
    add_public_key_output(generate_command);
    generate_command.callback(generate);

    CLI::App &public_command = subcommand(group, "public", "Print the device's public key");
    add_public_key_output(public_command);
    public_command.callback([] { deliver_public_key(device_public_key(connect())); });

    CLI::App &sign_command = subcommand(group, "sign", "Sign a file or digest with an ATECC's device key");
    add_digest(sign_command);
    sign_command.add_flag("--der", options.der, "A DER ECDSA-Sig-Value instead of r and s, 32 bytes each");
    add_output(sign_command, "Write the bytes to a file instead of printing hexadecimal");
    sign_command.callback(sign);

    CLI::App &verify_command = subcommand(group, "verify", "Check a signature over a file or digest");
    add_digest(verify_command);
    verify_command
        .add_option("-s,--signature", options.signature, "The signature: r and s or DER, binary or hexadecimal")
        ->type_name("FILE")
        ->required();
    verify_command
        .add_option("-k,--key", options.key, "Public key or certificate, PEM or DER; else the device's own key")
        ->type_name("FILE");
    add_json(verify_command, options.json);
    verify_command.callback(verify);
}

}  // namespace ostdrv::tool
