// PEM certificate files over the Trust X library's base64.
#include <trustx.h>

#include <algorithm>
#include <climits>
#include <string_view>

#include "certificates/scratch_memory.hpp"
#include "ostdrv.h"
#include "support/stream.hpp"

using namespace ostdrv;

const char b64chars[66] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

namespace {

constexpr std::string_view header = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view footer = "-----END CERTIFICATE-----";
constexpr std::string_view line_end = "\r\n";
constexpr size_t line_length = 64;

// The largest file whose text buffer is counted in 32 bits.
constexpr long largest_file = INT_MAX / 4 * 3;

bool write_line(Stream &file, std::string_view line) {
    return file.write(line.data(), line.size()) && file.write(line_end.data(), line_end.size());
}

bool write_certificate(Stream &file, std::string_view text) {
    if (!write_line(file, header)) return false;
    while (!text.empty()) {
        const size_t length = std::min(line_length, text.size());
        if (!write_line(file, {text.data(), length})) return false;
        text.remove_prefix(length);
    }
    return write_line(file, footer);
}

bool begins_with_header(Stream &file) {
    char line[header.size()];
    return file.read(line, sizeof line) && std::string_view(line, sizeof line) == header;
}

// Keeps the base64 characters up to the footer or to where the file ended when its size was taken, however much it has
// grown since. They never outgrow a text of size / 3 * 4 bytes: at most size - 27 are looked at behind the header.
size_t keep_text(Stream &file, long size, char *text) {
    constexpr std::string_view kept_characters(b64chars, sizeof b64chars - 1);
    size_t kept = 0;
    char byte = 0;
    for (long position = header.size(); position < size && byte != '-' && file.read(&byte, 1); ++position)
        if (kept_characters.find(byte) != std::string_view::npos) text[kept++] = byte;
    return kept;
}

}  // namespace

int tpm_octet_string_to_pem_file(const char *path, const uint8_t *data, size_t len) {
    // No DER element has fewer than two bytes.
    if (!data || len <= 1 || !path) return TPM_ERR_ARGUMENT;

    const size_t capacity = 4 * (len / 2 + 128);
    const ScratchMemory text(capacity);
    if (!text) return TPM_ERR_BUFFER;
    size_t length = 0;
    if (trustX_encodeBase64(text.text(), capacity, &length, data, len) != 0 || length > capacity)
        return TPM_ERR_TOO_LARGE;

    Stream file(path, "wb");
    if (!file) return TPM_ERR_FILE;
    const bool written = write_certificate(file, {text.text(), length});
    return file.close() && written ? TPM_OK : TPM_ERR_FILE;
}

int tpm_pem_file_to_octet_string(const char *path, uint8_t *out, size_t *out_len) {
    if (!path || !out || *out_len <= 1) return TPM_ERR_ARGUMENT;

    Stream file(path, "rb");
    if (!file) return TPM_ERR_FILE;
    const long size = file.size();
    if (size < 0) return TPM_ERR_FILE;

    // Directories report absurd sizes; they and whatever else is no certificate are told apart by the header first.
    const bool too_large = size > largest_file;
    const ScratchMemory text(too_large ? 0 : static_cast<size_t>(size) / 3 * 4);
    if (!text) return TPM_ERR_BUFFER;
    if (!begins_with_header(file)) return TPM_ERR_FILE;
    if (too_large) return TPM_ERR_BUFFER;
    const size_t kept = keep_text(file, size, text.text());
    file.close();

    size_t length = 0;
    if (trustX_decodeBase64(out, *out_len, &length, text.text(), kept) != 0) return TPM_ERR_TOO_LARGE;
    *out_len = length;
    return TPM_OK;
}
