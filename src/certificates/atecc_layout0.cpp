#include "certificates/atecc_layout0.hpp"

#include "certificates/operations.hpp"
#include "certificates/usb_kit_store.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;
using namespace ostdrv::layout0;

namespace {

// Says where the chip library finds the certificate's parts, and over which template it rebuilds them.
void bind(atcacert_def_t *definition, uint8_t comp_cert_slot, uint8_t public_key_slot, const uint8_t *der,
          size_t length) {
    definition->public_key_dev_loc.slot = public_key_slot;
    definition->public_key_dev_loc.is_genkey = public_key_slot == generated_key;
    definition->comp_cert_dev_loc.slot = comp_cert_slot;
    definition->cert_template = der;
    definition->cert_template_size = static_cast<uint16_t>(length);
}

}  // namespace

int atecc_v0_store_cert(const char *path, uint8_t comp_cert_slot, uint8_t public_key_slot) {
    if (!path) return status_argument;
    uint8_t der[largest_der] = {};
    size_t length = sizeof der;
    if (tpm_cert_read_cert_from_file(path, der, &length) != status_ok) return status_chip;
    if (usb_kit::in_use())
        if (const int status = usb_kit::store_copy(path, der, length)) return status;

    atcacert_def_t cert_def = definition;
    if (const int status = tpm_cert_reconfig_atcacert_def(&cert_def, der, length)) return status;
    bind(&cert_def, comp_cert_slot, public_key_slot, der, length);
    return atcacert_write_cert(&cert_def, der, length) == 0 ? status_ok : status_chip;
}

int atecc_v0_load_cert(atcacert_def_t *cert_def, const char *path, uint8_t comp_cert_slot, uint8_t public_key_slot,
                       uint8_t *cert, size_t *cert_len) {
    if (!path) return status_argument;
    const int read = usb_kit::in_use() ? usb_kit::load_copy(path, cert, cert_len)
                                       : tpm_cert_read_cert_from_file(path, cert, cert_len);
    if (read != status_ok) return read;

    if (const int status = tpm_cert_reconfig_atcacert_def(cert_def, cert, *cert_len)) return status;
    bind(cert_def, comp_cert_slot, public_key_slot, cert, *cert_len);
    return atcacert_read_cert(cert_def, nullptr, cert, cert_len) == 0 ? status_ok : status_chip;
}

int atecc_v0_save_signer_cert(const char *path) { return atecc_v0_store_cert(path, signer_slot, signer_key_slot); }

int atecc_v0_save_device_cert(const char *path) { return atecc_v0_store_cert(path, device_slot, generated_key); }

int atecc_v0_lock_signer_cert() {
    if (const int status = tpm_lock_slot(signer_key_slot)) return status;
    return tpm_lock_slot(signer_slot);
}

int atecc_v0_lock_device_cert() { return tpm_lock_slot(device_slot); }
