// Layout 0: certificates in the chip library's compressed form, rebuilt over a template that the host keeps as a PEM
// file or, behind the USB kit, in the kit's EEPROM. The chip alone cannot give them back, so there is no export.
#include <cstring>

#include "certificates/certificate.hpp"
#include "certificates/definition.hpp"
#include "certificates/usb_kit.hpp"
#include "ostdrv.h"
#include "secure_element/chip_status.hpp"
#include "secure_element/slot_locks.hpp"

using namespace ostdrv;

namespace {

// The slots of a certificate's compressed form and of its public key.
struct Place {
    uint8_t compressed;
    uint8_t public_key;
};
// The device's public key is not stored: the chip computes it from the private key.
constexpr uint8_t generated_key = atecc::device_key_slot;
constexpr Place signer = {10, 11}, device = {9, generated_key};

constexpr atcacert_def_t layout_definition = certificate_definition(zone_data, device.compressed);

// Says where the chip library finds the certificate's parts, and over which template it rebuilds them.
int describe(atcacert_def_t *definition, const Place &place, const Certificate &certificate) {
    if (const int status = tpm_cert_reconfig_atcacert_def(definition, certificate.der, certificate.length))
        return status;
    definition->public_key_dev_loc.slot = place.public_key;
    definition->public_key_dev_loc.is_genkey = place.public_key == generated_key;
    definition->comp_cert_dev_loc.slot = place.compressed;
    definition->cert_template = certificate.der;
    definition->cert_template_size = static_cast<uint16_t>(certificate.length);
    return TPM_OK;
}

int atecc_v0_store_cert(const char *path, const Place &place) {
    if (!path) return TPM_ERR_ARGUMENT;
    // Whatever is wrong with the file is 2: the reader's own 6 and 8 say something else of a save, that a name stands
    // for no copy and that a certificate cannot be taken apart.
    Certificate certificate;
    if (tpm_cert_read_cert_from_file(path, certificate.der, &certificate.length) != TPM_OK) return TPM_ERR_CHIP;
    if (usb_kit::in_use())
        if (const int status = usb_kit::store_copy(path, certificate.bytes())) return status;

    atcacert_def_t definition = layout_definition;
    if (const int status = describe(&definition, place, certificate)) return status;
    return chip_status(atcacert_write_cert(&definition, certificate.der, certificate.length));
}

// The definition, a copy, afterwards says where the rebuilt certificate's elements are.
int atecc_v0_load_cert(atcacert_def_t *definition, const char *path, const Place &place, Certificate *certificate) {
    const int read = usb_kit::in_use() ? usb_kit::load_copy(path, certificate)
                                       : tpm_cert_read_cert_from_file(path, certificate->der, &certificate->length);
    if (read != TPM_OK) return read;

    if (const int status = describe(definition, place, *certificate)) return status;
    return chip_status(atcacert_read_cert(definition, nullptr, certificate->der, &certificate->length));
}

int atecc_v0_save_signer_cert(const char *path) { return atecc_v0_store_cert(path, signer); }
int atecc_v0_save_device_cert(const char *path) { return atecc_v0_store_cert(path, device); }

int atecc_v0_lock_signer_cert() { return lock_slots(signer.public_key, signer.public_key, signer.compressed); }
int atecc_v0_lock_device_cert() { return tpm_lock_slot(device.compressed); }

bool issued_by(const atcacert_def_t &definition, const Certificate &certificate, const uint8_t *issuer_key) {
    return atcacert_verify_cert_hw(&definition, certificate.der, certificate.length, issuer_key) == 0;
}

bool take_public_key(const atcacert_def_t &definition, const Certificate &certificate, uint8_t *key) {
    const size_t offset = definition.std_cert_elements[STDCERT_PUBLIC_KEY].offset;
    if (offset + public_key_size > certificate.length) return false;
    std::memcpy(key, certificate.der + offset, public_key_size);
    return true;
}

int atecc_v0_verify_cert_chain(const uint8_t *ca_public_key, const char *const *cert_paths, uint8_t *is_verified) {
    if (!ca_public_key || !cert_paths || !cert_paths[0] || !cert_paths[1] || !is_verified) return TPM_ERR_ARGUMENT;
    *is_verified = 0;

    // A certificate that cannot be loaded is 2 for whatever reason: 0 alone says that there was a chain to judge.
    atcacert_def_t definition = layout_definition;
    Certificate signer_cert;
    if (atecc_v0_load_cert(&definition, cert_paths[0], signer, &signer_cert) != TPM_OK) return TPM_ERR_CHIP;
    if (!issued_by(definition, signer_cert, ca_public_key)) return TPM_OK;

    uint8_t signer_key[public_key_size] = {};
    size_t key_length = sizeof signer_key;
    if (tpm_read_slot(signer.public_key, signer_key, &key_length) != TPM_OK) return TPM_ERR_CHIP;

    Certificate device_cert;
    if (atecc_v0_load_cert(&definition, cert_paths[1], device, &device_cert) != TPM_OK) return TPM_ERR_CHIP;
    if (!issued_by(definition, device_cert, signer_key)) return TPM_OK;

    uint8_t device_key[public_key_size] = {};
    if (!take_public_key(definition, device_cert, device_key)) return TPM_ERR_CHIP;
    return __cert_challenge(device_key, is_verified);
}

}  // namespace

tpm_cert_api_t tpm_cert_api_impl_0 = {
    .save_signer_cert = atecc_v0_save_signer_cert,
    .save_device_cert = atecc_v0_save_device_cert,
    .lock_signer_cert = atecc_v0_lock_signer_cert,
    .lock_device_cert = atecc_v0_lock_device_cert,
    .export_signer_cert = nullptr,
    .export_device_cert = nullptr,
    .verify = atecc_v0_verify_cert_chain,
};
