#include <type_traits>

#include "certificates/operations.hpp"
#include "certificates/serial_record.hpp"
#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;

tpm_cert_api_t tpm_cert_api_impl_0 = {
    .save_signer_cert = atecc_v0_save_signer_cert,
    .save_device_cert = atecc_v0_save_device_cert,
    .lock_signer_cert = atecc_v0_lock_signer_cert,
    .lock_device_cert = atecc_v0_lock_device_cert,
    .export_signer_cert = nullptr,
    .export_device_cert = nullptr,
    .verify = atecc_v0_verify_cert_chain,
};

tpm_cert_api_t tpm_cert_api_impl_1 = {
    .save_signer_cert = atecc_v1_save_signer_cert,
    .save_device_cert = atecc_v1_save_device_cert,
    .lock_signer_cert = atecc_v1_lock_signer_cert,
    .lock_device_cert = atecc_v1_lock_device_cert,
    .export_signer_cert = atecc_v1_export_signer_cert,
    .export_device_cert = atecc_v1_export_device_cert,
    .verify = atecc_v1_verify_cert_chain,
};

tpm_cert_api_t tpm_trustx_cert_api_impl_1 = {
    .save_signer_cert = trustx_save_signer_cert,
    .save_device_cert = trustx_save_device_cert,
    .lock_signer_cert = trustx_lock_signer_cert,
    .lock_device_cert = trustx_lock_device_cert,
    .export_signer_cert = trustx_export_signer_cert,
    .export_device_cert = trustx_export_device_cert,
    .verify = trustx_verify_cert_chain,
};

tpm_cert_api_t *g_tpm_cert_api = nullptr;

namespace {

constexpr uint8_t layout_1 = 1;

template <typename... Arguments>
int dispatch(int (*tpm_cert_api_t::*operation)(Arguments...), std::type_identity_t<Arguments>... arguments) {
    g_tpm_cert_api = __get_tpm_cert_api();
    if (!g_tpm_cert_api) return status_no_table;
    const auto run = g_tpm_cert_api->*operation;
    return run ? run(arguments...) : status_no_operation;
}

}  // namespace

tpm_cert_api_t *__get_tpm_cert_api(void) {
    if (fitted_chip_is_trustx()) return &tpm_trustx_cert_api_impl_1;

    uint8_t version = 0xFF;
    if (tpm_cert_get_version(&version) != status_ok) return nullptr;
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
