#include <type_traits>

#include "ostdrv.h"
#include "secure_element/chip_detection.hpp"

using namespace ostdrv;

tpm_cert_api_t *g_tpm_cert_api = nullptr;

namespace {

constexpr uint8_t layout_1 = 1;

// Chosen anew each time: setting the serial number changes the layout of the chip, in whatever process that happens.
template <typename... Arguments>
int dispatch(int (*tpm_cert_api_t::*operation)(Arguments...), std::type_identity_t<Arguments>... arguments) {
    g_tpm_cert_api = __get_tpm_cert_api();
    if (!g_tpm_cert_api) return TPM_ERR_NO_TABLE;
    const auto run = g_tpm_cert_api->*operation;
    return run ? run(arguments...) : TPM_ERR_NO_OPERATION;
}

}  // namespace

tpm_cert_api_t *__get_tpm_cert_api(void) {
    if (is_trustx()) return &tpm_trustx_cert_api_impl_1;

    uint8_t version = 0xFF;
    if (tpm_cert_get_version(&version) != TPM_OK) return nullptr;
    return version == layout_1 ? &tpm_cert_api_impl_1 : &tpm_cert_api_impl_0;
}

int tpm_cert_save_signer_cert(const char *path) { return dispatch(&tpm_cert_api_t::save_signer_cert, path); }

int tpm_cert_save_device_cert(const char *path) { return dispatch(&tpm_cert_api_t::save_device_cert, path); }

int tpm_cert_lock_signer_cert(void) { return dispatch(&tpm_cert_api_t::lock_signer_cert); }

int tpm_cert_lock_device_cert(void) { return dispatch(&tpm_cert_api_t::lock_device_cert); }

int tpm_cert_export_signer_cert(const char *path) { return dispatch(&tpm_cert_api_t::export_signer_cert, path); }

int tpm_cert_export_device_cert(const char *path) { return dispatch(&tpm_cert_api_t::export_device_cert, path); }

int tpm_cert_verify(const uint8_t *ca_public_key, const char *const *cert_paths, uint8_t *is_verified) {
    return dispatch(&tpm_cert_api_t::verify, ca_public_key, cert_paths, is_verified);
}
