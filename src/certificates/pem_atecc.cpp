#include <cstdio>
#include <cstring>

#include "certificates/scratch_memory.hpp"
#include "ostdrv.h"
#include "support/stream.hpp"

using namespace ostdrv;

int tpm_cert_read_cert_from_file(const char *path, uint8_t *der, size_t *der_len) {
    if (!path) return TPM_ERR_PATH;
    Stream file(path, "r");
    if (!file) return TPM_ERR_FILE;
    const long end = file.size();
    if (end < 0) return TPM_ERR_FILE;
    const size_t size = static_cast<size_t>(end);
    // Known before anything is read: DER is never longer than the PEM around it, so whatever decodes will fit.
    if (*der_len < size) return TPM_ERR_BUFFER;

    const ScratchMemory text(size);
    const ScratchMemory decoded(size);
    if (!text || !decoded) return TPM_ERR_BUFFER;
    if (!file.read(text.bytes(), size)) return TPM_ERR_FILE;

    size_t length = size;
    if (atcacert_decode_pem_cert(text.text(), size, decoded.bytes(), &length) != 0 || length > size)
        return TPM_ERR_CHIP;
    std::memcpy(der, decoded.bytes(), length);
    *der_len = length;
    return TPM_OK;
}
