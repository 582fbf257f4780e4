#include <cstdio>
#include <cstring>

#include "ostdrv.h"
#include "support/scratch_memory.hpp"
#include "support/status.hpp"
#include "support/stream.hpp"

using namespace ostdrv;

int tpm_cert_read_cert_from_file(const char *path, uint8_t *der, size_t *der_len) {
    if (!path) return status_path;
    Stream file(path, "r");
    if (!file) return status_file;
    const long end = file.size();
    if (end < 0) return status_file;
    const size_t size = static_cast<size_t>(end);
    if (*der_len < size) return status_buffer;

    const ScratchMemory text(size);
    const ScratchMemory decoded(size);
    if (!text || !decoded) return status_buffer;
    if (!file.read(text.bytes(), size)) return status_file;

    size_t length = size;
    if (atcacert_decode_pem_cert(text.text(), size, decoded.bytes(), &length) != 0 || length > size) return status_chip;
    std::memcpy(der, decoded.bytes(), length);
    *der_len = length;
    return status_ok;
}
