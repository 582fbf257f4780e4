// The operations behind the certificate entry points, one group per storage scheme.
#ifndef OSTDRV_CERTIFICATES_OPERATIONS_HPP
#define OSTDRV_CERTIFICATES_OPERATIONS_HPP

#include <cstdint>

int atecc_v0_save_signer_cert(const char *path);
int atecc_v0_save_device_cert(const char *path);
int atecc_v0_lock_signer_cert();
int atecc_v0_lock_device_cert();
int atecc_v0_verify_cert_chain(const std::uint8_t *ca_public_key, const char *const *cert_paths,
                               std::uint8_t *is_verified);

int atecc_v1_save_signer_cert(const char *path);
int atecc_v1_save_device_cert(const char *path);
int atecc_v1_lock_signer_cert();
int atecc_v1_lock_device_cert();
int atecc_v1_export_signer_cert(const char *path);
int atecc_v1_export_device_cert(const char *path);
int atecc_v1_verify_cert_chain(const std::uint8_t *ca_public_key, const char *const *cert_paths,
                               std::uint8_t *is_verified);

int trustx_save_signer_cert(const char *path);
int trustx_save_device_cert(const char *path);
int trustx_lock_signer_cert();
int trustx_lock_device_cert();
int trustx_export_signer_cert(const char *path);
int trustx_export_device_cert(const char *path);
int trustx_verify_cert_chain(const std::uint8_t *ca_public_key, const char *const *cert_paths,
                             std::uint8_t *is_verified);

#endif
