#include "certificates/asn1_listing.hpp"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "certificates/scratch_file.hpp"
#include "ostdrv.h"
#include "support/stream.hpp"

namespace ostdrv {
namespace {

// Reads up to the line's end or the buffer's, and says which came first. The text may hold zero bytes, because the
// command shows values as they are: only a buffer that is full to its last byte is known to be so.
bool read_piece(Stream &listing, std::span<char> buffer, bool *whole_line) {
    buffer.back() = '\n';
    if (!std::fgets(buffer.data(), static_cast<int>(buffer.size()), listing.get())) return false;
    *whole_line = buffer.back() != '\0' || buffer[buffer.size() - 2] == '\n';
    return true;
}

// A line longer than the buffer is still one line: its rest is dropped.
bool read_line(Stream &listing, std::span<char> line) {
    bool whole = false;
    if (!read_piece(listing, line, &whole)) return false;
    char rest[256];
    while (!whole && read_piece(listing, rest, &whole)) continue;
    return true;
}

bool read_element(Stream &listing, int line, Asn1Element *element) {
    char text[1024];
    if (!read_line(listing, text)) return false;

    *element = {};
    element->line = line;
    std::sscanf(text, "%*[^0-9]%d%*[^=]=%d%*[^=]=%d%*[^=]=%*[^0-9]%d%*[^A-Z]%31[A-Z,0-9, ]:%255[a-z,A-Z,0-9, -]",
                &element->offset, &element->depth, &element->header_length, &element->length, element->tag,
                element->value);
    return true;
}

}  // namespace

int list_asn1_elements(Bytes der, Asn1Visit *visit, void *context) {
    // rand will do: what stands at a name that somebody foresaw is taken away first, and no random name is safe from
    // being seen once it is there.
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    ScratchFile input("/tmp/der.tmp");
    ScratchFile output("/tmp/asn1decode.tmp");

    if (!input.clear() || !output.clear()) return TPM_ERR_FILE;

    Stream file(input.path(), "wb");
    if (file) input.created();
    if (!file.write_and_close(der.data(), der.size())) return TPM_ERR_FILE;

    char command[1024];
    std::snprintf(command, sizeof command, "/usr/bin/openssl asn1parse -in %s -inform DER > %s", input.path(),
                  output.path());
    output.created();
    if (std::system(command) != 0) return TPM_ERR_COMMAND;

    input.remove();
    Stream listing(output.path(), "r");
    if (!listing) return TPM_ERR_FILE;
    Asn1Element element;
    for (int line = 0; read_element(listing, line, &element) && visit(context, element);) ++line;
    return TPM_OK;
}

}  // namespace ostdrv
