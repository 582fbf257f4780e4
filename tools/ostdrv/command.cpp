#include "command.hpp"

#include <unistd.h>

#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>

namespace ostdrv::tool {

const char *status_meaning(int status) {
    static constexpr std::array meanings{
        "success",
        "the ATECC could not be brought up",
        "the secure element or its library refused",
        "bad argument",
        "the slot is locked",
        "a buffer is too small, or memory ran out",
        "no usable certificate file path",
        "no default configuration for this model",
        "a file could not be opened, read, decoded or written",
        "the openssl command failed",
        "unknown status",
        "the USB kit holds no certificate of that kind",
        "a serial number has 1 to 34 bytes",
        "the certificate layout could not be read",
        "this certificate layout has no such operation",
        "a certificate could not be rebuilt or encoded, or the chain did not verify",
        "unknown status",
        "too large for its slot or object, or not base64",
    };
    const auto index = static_cast<std::size_t>(status);
    return index < meanings.size() ? meanings[index] : "unknown status";
}

void require(int status, const std::string &what) {
    if (status != 0)
        throw Failure("cannot " + what + ": " + status_meaning(status) + " (status " + std::to_string(status) + ")");
}

CLI::Option *add_yes(CLI::App &command, bool &yes) {
    return command.add_flag("-y,--yes", yes, "Do what cannot be undone without asking");
}

void confirm(bool yes, const std::string &what) {
    if (yes) return;
    if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        throw BadUsage(what + " It cannot be undone and there is no terminal to ask at: say --yes");
    message(what + " It cannot be undone. Continue? [y/N]");
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") throw Failure("not confirmed, nothing was done");
}

CLI::Option *add_json(CLI::App &command, bool &json) { return command.add_flag("--json", json, "Print JSON"); }

void print(const Json &result) { std::cout << result.dump(2, ' ', false, Json::error_handler_t::replace) << "\n"; }

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

Bytes from_hex(std::string_view text, const std::string &what) {
    std::string digits;
    for (const char c : text)
        if (c != ':' && !std::isspace(static_cast<unsigned char>(c))) digits += c;
    Bytes bytes(digits.size() / 2);
    bool valid = digits.size() % 2 == 0;
    for (std::size_t i = 0; valid && i < bytes.size(); ++i) {
        const char *const pair = digits.data() + 2 * i;
        valid = std::from_chars(pair, pair + 2, bytes[i], 16).ptr == pair + 2;
    }
    if (!valid) throw BadUsage(what + " is not made of pairs of hexadecimal digits");
    return bytes;
}

Bytes read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw system_failure("cannot open " + path);
    Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad()) throw system_failure("cannot read " + path);
    return bytes;
}

void write_file(const std::string &path, std::span<const std::uint8_t> bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) throw system_failure("cannot create " + path);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw system_failure("cannot write " + path);
}

}  // namespace ostdrv::tool
