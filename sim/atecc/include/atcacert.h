/*
 * Certificate functions of the ATECC host library: certificates kept in a chip in compressed form and rebuilt over a
 * template, certificate requests, and PEM conversion. Every function returns ATCACERT_E_SUCCESS (0) or a code below.
 */
#ifndef ATCACERT_H
#define ATCACERT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    ATCACERT_E_SUCCESS = 0,
    ATCACERT_E_ERROR = 1, /* the chip refused or did not answer */
    ATCACERT_E_BAD_PARAMS = 2,
    ATCACERT_E_BUFFER_TOO_SMALL = 3, /* the size argument receives the size needed */
    ATCACERT_E_DECODING_ERROR = 4,   /* not PEM, not DER, or not what the definition says */
    ATCACERT_E_ELEM_OUT_OF_BOUNDS = 5,
    ATCACERT_E_WRONG_CERT_DEF = 6,
    ATCACERT_E_VERIFY_FAILED = 7
};

typedef enum { CERTTYPE_X509 = 0, CERTTYPE_CUSTOM = 1 } atcacert_cert_type_t;

typedef enum { SNSRC_STORED = 0 } atcacert_cert_sn_src_t;

typedef enum { DATEFMT_ISO8601_SEP = 0, DATEFMT_RFC5280_UTC = 1 } atcacert_date_format_t;

typedef enum { DEVZONE_CONFIG = 0, DEVZONE_OTP = 1, DEVZONE_DATA = 2, DEVZONE_NONE = 7 } atcacert_device_zone_t;

typedef enum {
    STDCERT_PUBLIC_KEY = 0,
    STDCERT_SIGNATURE = 1,
    STDCERT_ISSUE_DATE = 2,
    STDCERT_EXPIRE_DATE = 3,
    STDCERT_SIGNER_ID = 4,
    STDCERT_CERT_SN = 5,
    STDCERT_AUTH_KEY_ID = 6,
    STDCERT_SUBJ_KEY_ID = 7,
    STDCERT_NUM_ELEMENTS = 8
} atcacert_std_cert_element_t;

typedef struct {
    atcacert_device_zone_t zone;
    uint8_t slot;
    uint8_t is_genkey; /* the public key is computed from the private key in the slot */
    uint16_t offset;
    uint16_t count;
} atcacert_device_loc_t;

typedef struct {
    uint16_t offset;
    uint16_t count; /* 0: the certificate has no such element */
} atcacert_cert_loc_t;

typedef struct atcacert_cert_element_s atcacert_cert_element_t;

typedef struct atcacert_def_s {
    atcacert_cert_type_t type;
    uint8_t template_id : 4;
    uint8_t chain_id : 4;
    uint8_t private_key_slot;
    atcacert_cert_sn_src_t sn_source;
    atcacert_device_loc_t cert_sn_dev_loc;
    atcacert_date_format_t issue_date_format;
    atcacert_date_format_t expire_date_format;
    atcacert_cert_loc_t tbs_cert_loc;
    uint8_t expire_years;
    atcacert_device_loc_t public_key_dev_loc;
    atcacert_device_loc_t comp_cert_dev_loc;
    atcacert_cert_loc_t std_cert_elements[STDCERT_NUM_ELEMENTS];
    const atcacert_cert_element_t *cert_elements;
    uint8_t cert_elements_count;
    const uint8_t *cert_template;
    uint16_t cert_template_size;
    const struct atcacert_def_s *ca_cert_def;
} atcacert_def_t;

/*
 * A definition is taken at its word only where the certificate agrees: tbs_cert_loc is the first element of the outer
 * SEQUENCE, the public key 64 bytes inside it, the signature element what follows ecdsa-with-SHA256. X.509 only. All
 * else of a certificate comes from the template: a definition with places of its own for dates or a signer id is
 * refused where a certificate is compressed or rebuilt.
 */

/*
 * Writes the certificate's compressed form to comp_cert_dev_loc (72 bytes) and then, unless its key is generated, its
 * public key to public_key_dev_loc (64 bytes: X then Y). A location in DEVZONE_NONE is left out.
 */
int atcacert_write_cert(const atcacert_def_t *cert_def, const uint8_t *cert, size_t cert_size);

/*
 * Rebuilds a certificate over cert_def's template, which may lie in `cert`. *cert_size: capacity of cert, then the
 * certificate's size. The CA's key is not used.
 */
int atcacert_read_cert(const atcacert_def_t *cert_def, const uint8_t *ca_public_key, uint8_t *cert, size_t *cert_size);

/*
 * Builds, signs in the chip and PEM-encodes a PKCS #10 request. *csr_size: capacity of csr, then the text's length.
 * PEM text has lines of 64 characters, ends each line with CR LF and has no terminating zero.
 */
int atcacert_create_csr_pem(const atcacert_def_t *csr_def, char *csr, size_t *csr_size);

/*
 * The first certificate of a text, and the text of one. *der_size and *pem_size: capacity, then what was written.
 * Between header and footer only base64, blanks and line ends may stand; both must be there.
 */
int atcacert_decode_pem_cert(const char *pem, size_t pem_size, uint8_t *der, size_t *der_size);
int atcacert_encode_pem_cert(const uint8_t *der, size_t der_size, char *pem, size_t *pem_size);

/* Signs the 32-byte challenge with the private key in the slot: 64 bytes, r then s. */
int atcacert_get_response(uint8_t private_key_slot, const uint8_t *challenge, uint8_t *response);

/* 0 when the certificate's signature over its to-be-signed part verifies with the 64-byte key, in the chip. */
int atcacert_verify_cert_hw(const atcacert_def_t *cert_def, const uint8_t *cert, size_t cert_size,
                            const uint8_t *ca_public_key);

#ifdef __cplusplus
}
#endif

#endif
