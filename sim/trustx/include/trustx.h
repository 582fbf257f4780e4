/*
 * Host interface of the Trust X secure element, as far as ostdrv uses it.
 *
 * On a board the maker's library stands behind these prototypes; on a workstation the software chip of this directory
 * does. Every function returns 0 on success. All of them but the hash and base64 helpers need a session opened with
 * trustX_Open.
 */
#ifndef TRUSTX_H
#define TRUSTX_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t optiga_lib_status_t;

typedef enum { OPTIGA_ECC_NIST_P_256 = 0x03, OPTIGA_ECC_NIST_P_384 = 0x04 } optiga_ecc_curve_t;

typedef enum {
    OPTIGA_KEY_STORE_ID_E0F0 = 0xE0F0,
    OPTIGA_KEY_STORE_ID_E0F1 = 0xE0F1,
    OPTIGA_KEY_STORE_ID_E0F2 = 0xE0F2,
    OPTIGA_KEY_STORE_ID_E0F3 = 0xE0F3
} optiga_key_id_t;

/* Key usage bits. */
enum { OPTIGA_KEY_USAGE_AUTHENTICATION = 0x01, OPTIGA_KEY_USAGE_ENCRYPTION = 0x02, OPTIGA_KEY_USAGE_SIGN = 0x10 };

/* Write types of optiga_util_write_data. */
enum { OPTIGA_UTIL_WRITE_ONLY = 0x00, OPTIGA_UTIL_ERASE_AND_WRITE = 0x40 };

/* The text trustX_lockStatus reports first for a locked object. */
extern const char __NEV[];

int trustX_Open(void);
int trustX_Close(void);

/* Three NUL-terminated texts with the conditions for changing, reading and executing the object; static storage. */
int trustX_lockStatus(uint16_t object_id, char **first, char **second, char **third);
int trustX_lockSlot(uint16_t object_id);

int trustX_sha256(const uint8_t *data, size_t length, uint8_t *digest, int reserved);

/*
 * Hashes the data with SHA-256 and checks the signature, given as two DER INTEGERs, with the 64-byte P-256 key.
 * 0 when it is valid.
 */
int trustX_verify(const uint8_t *public_key, const uint8_t *data, size_t data_length, const uint8_t *signature,
                  size_t signature_length);

int trustX_encodeBase64(char *text, size_t capacity, size_t *text_length, const uint8_t *bytes, size_t length);
int trustX_decodeBase64(uint8_t *bytes, size_t capacity, size_t *bytes_length, const char *text, size_t length);

/* *length: capacity of buffer, then the bytes read. */
optiga_lib_status_t optiga_util_read_data(uint16_t object_id, uint16_t offset, uint8_t *buffer, uint16_t *length);
optiga_lib_status_t optiga_util_write_data(uint16_t object_id, uint8_t write_type, uint16_t offset,
                                           const uint8_t *buffer, uint16_t length);

/*
 * private_key points at the optiga_key_id_t of the object that receives the key when it is not exported.
 * The public key comes as a DER BIT STRING. *public_key_length: capacity, then the bytes written.
 */
optiga_lib_status_t optiga_crypt_ecc_generate_keypair(optiga_ecc_curve_t curve, uint8_t key_usage,
                                                      bool export_private_key, void *private_key, uint8_t *public_key,
                                                      uint16_t *public_key_length);

/* The signature comes as the two DER INTEGERs r and s. *signature_length: capacity, then the bytes written. */
optiga_lib_status_t optiga_crypt_ecdsa_sign(const uint8_t *digest, uint8_t digest_length, optiga_key_id_t private_key,
                                            uint8_t *signature, uint16_t *signature_length);

#ifdef __cplusplus
}
#endif

#endif
