// Saving, locking and exporting the chain on a Trust X, which keeps both certificates whole.
#include "certificates/operations.hpp"
#include "certificates/trustx_objects.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::trustx;

namespace {

int save(const char *path, uint16_t object) {
    if (!path) return status_argument;
    uint8_t der[largest_certificate] = {};
    size_t length = sizeof der;
    if (tpm_pem_file_to_octet_string(path, der, &length) != 0) return status_file;
    if (length > sizeof der) return status_too_large;
    return tpm_write_slot(object, der, length);
}

int lock(uint16_t certificate, uint16_t key) {
    const int status = tpm_lock_slot(certificate);
    return status != 0 ? status : tpm_lock_slot(key);
}

int export_to(const char *path, uint16_t object) {
    if (!path) return status_argument;
    uint8_t der[largest_certificate] = {};
    size_t length = sizeof der;
    const int status = tpm_read_slot(object, der, &length);
    if (status != 0) return status;
    return tpm_octet_string_to_pem_file(path, der, length) == 0 ? status_ok : status_file;
}

}  // namespace

int trustx_save_signer_cert(const char *path) { return save(path, signer_cert); }
int trustx_save_device_cert(const char *path) { return save(path, device_cert); }

int trustx_lock_signer_cert() { return lock(signer_cert, signer_key); }
int trustx_lock_device_cert() { return lock(device_cert, device_key); }

int trustx_export_signer_cert(const char *path) { return export_to(path, signer_cert); }
int trustx_export_device_cert(const char *path) { return export_to(path, device_cert); }
