#include "certificates/asn1_dump.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "support/status.hpp"

namespace ostdrv {
namespace {

// A line longer than the buffer is still one line: its rest is dropped.
bool read_line(Stream &dump, char *line, int size) {
    if (!std::fgets(line, size, dump.get())) return false;
    char rest[256];
    const char *last = line;
    while (!std::strchr(last, '\n')) {
        if (!std::fgets(rest, sizeof rest, dump.get())) break;
        last = rest;
    }
    return true;
}

bool write_file(const char *path, const std::uint8_t *bytes, std::size_t size, ScratchFile &owner) {
    Stream file(path, "wb");
    if (!file) return false;
    owner.created();
    const bool whole = file.write(bytes, size);
    return file.close() && whole;
}

}  // namespace

Asn1Dump::Seed::Seed() { std::srand(static_cast<unsigned int>(std::time(nullptr))); }

Asn1Dump::Asn1Dump(const std::uint8_t *der, std::size_t der_len)
    : input_("/tmp/der.tmp"), output_("/tmp/asn1decode.tmp"), status_(run(der, der_len)) {}

int Asn1Dump::run(const std::uint8_t *der, std::size_t der_len) {
    if (!write_file(input_.path(), der, der_len, input_)) return status_file;

    char command[1024];
    std::snprintf(command, sizeof command, "/usr/bin/openssl asn1parse -in %s -inform DER > %s", input_.path(),
                  output_.path());
    output_.created();
    if (std::system(command) != 0) return status_command;

    input_.remove();
    return dump_.open(output_.path(), "r") ? status_ok : status_file;
}

bool Asn1Dump::next(Asn1Element *element) {
    char line[1024];
    if (!read_line(dump_, line, sizeof line)) return false;

    *element = {};
    element->line = lines_++;
    std::sscanf(line, "%*[^0-9]%d%*[^=]=%d%*[^=]=%d%*[^=]=%*[^0-9]%d%*[^A-Z]%31[A-Z,0-9, ]:%255[a-z,A-Z,0-9, -]",
                &element->offset, &element->depth, &element->header_length, &element->length, element->tag,
                element->value);
    return true;
}

}  // namespace ostdrv
