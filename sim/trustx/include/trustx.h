/*
 * Host interface of the Trust X secure element, as far as ostdrv uses it.
 *
 * On a board the maker's library stands behind these prototypes; on a workstation the software chip of this directory
 * does. Every function returns 0 on success; the software chip's failures are all -1, and what a failed call was to
 * deliver is not to be used.
 *
 * Objects: certificates 0xE0E0 to 0xE0E3 (1728 bytes), private keys 0xE0F0 to 0xE0F3, data 0xF1D0 to 0xF1DF (140
 * bytes). Reading, writing, locking, making keys and signing need a session opened with trustX_Open. Hashing, verifying
 * and base64 are the host's own work and need none.
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

/* Sessions are counted: each opening wants a closing. */
int trustX_Open(void);
int trustX_Close(void);

/* Three NUL-terminated texts with the conditions for changing, reading and executing the object; static storage. */
int trustX_lockStatus(uint16_t object_id, char **first, char **second, char **third);

/* IRREVERSIBLE. Fails for an object that is locked already. */
int trustX_lockSlot(uint16_t object_id);

/* 32 bytes of digest. */
int trustX_sha256(const uint8_t *data, size_t length, uint8_t *digest, int reserved);

/*
 * Hashes the data with SHA-256 and checks the signature, given as two DER INTEGERs, with the 64-byte P-256 key.
 * 0 when it is valid.
 */
int trustX_verify(const uint8_t *public_key, const uint8_t *data, size_t data_length, const uint8_t *signature,
                  size_t signature_length);

/*
 * RFC 4648 with padding, in one unbroken run without a terminator. The decoder takes exactly that and nothing else.
 * Both fail when the capacity does not suffice, with nothing delivered.
 */
int trustX_encodeBase64(char *text, size_t capacity, size_t *text_length, const uint8_t *bytes, size_t length);
int trustX_decodeBase64(uint8_t *bytes, size_t capacity, size_t *bytes_length, const char *text, size_t length);

/* *length: capacity of buffer, then the bytes read: at most the used ones from the offset on. Keys are never read. */
optiga_lib_status_t optiga_util_read_data(uint16_t object_id, uint16_t offset, uint8_t *buffer, uint16_t *length);

/*
 * Writes over the used bytes and extends them; with OPTIGA_UTIL_ERASE_AND_WRITE what was written is afterwards all that
 * is used. Refused for keys, for locked objects, beyond the object's size, and for an offset behind the used bytes.
 */
optiga_lib_status_t optiga_util_write_data(uint16_t object_id, uint8_t write_type, uint16_t offset,
                                           const uint8_t *buffer, uint16_t length);

/*
 * private_key points at the optiga_key_id_t of the object that receives the key when it is not exported.
 * The public key comes as a DER BIT STRING of 68 bytes. *public_key_length: capacity, then the bytes written. The
 * software chip knows P-256 only and exports no key; a locked object keeps its key.
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
