/*
 * Host interface of the ATECC508A and ATECC608A secure elements, as far as ostdrv uses it.
 *
 * On a board the maker's library of the same name stands behind these prototypes; on a workstation the software
 * chip of this directory does. Every function returns ATCA_SUCCESS (0) or one of the codes below, and writes through
 * its output pointers on success only.
 */
#ifndef CRYPTOAUTHLIB_H
#define CRYPTOAUTHLIB_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    ATCA_SUCCESS = 0,
    ATCA_EXECUTION_ERROR = 1, /* the chip refused: locked, secret, wrong zone, no such key */
    ATCA_BAD_PARAM = 2,       /* an argument no chip could take */
    ATCA_COMM_FAIL = 3,       /* the chip did not answer */
    ATCA_NOT_INITIALIZED = 4, /* atcab_init has not succeeded in this process */
    ATCA_SMALL_BUFFER = 5,    /* the caller's buffer is too small */
    ATCA_GEN_FAIL = 6         /* anything else */
} ATCA_STATUS;

typedef enum { ATCA_I2C_IFACE = 0, ATCA_HID_IFACE = 4 } ATCAIfaceType;

typedef enum { ATECC508A = 2, ATECC608A = 3, ATCA_DEV_UNKNOWN = 0x20 } ATCADeviceType;

enum { ATCA_ZONE_CONFIG = 0, ATCA_ZONE_OTP = 1, ATCA_ZONE_DATA = 2 };

/* Zones of atcab_is_locked. */
enum { LOCK_ZONE_CONFIG = 0, LOCK_ZONE_DATA = 1 };

typedef struct {
    uint8_t slave_address; /* 8-bit form: the bus address shifted left by one */
    uint8_t bus;
    uint32_t baud;
} ATCAI2cCfg;

typedef struct {
    int idx;
    uint32_t vid;
    uint32_t pid;
    uint32_t packetsize;
    uint8_t guid[16];
} ATCAHidCfg;

typedef struct {
    ATCAIfaceType iface_type;
    ATCADeviceType devtype;
    union {
        ATCAI2cCfg atcai2c;
        ATCAHidCfg atcahid;
        uint64_t reserved[8];
    };
    uint16_t wake_delay; /* microseconds */
    int rx_retries;
    void *cfg_data;
} ATCAIfaceCfg;

/*
 * Opens the process's session with the chip behind an interface; a session open before it ends. The record is copied.
 * Needed before every other atcab_ function.
 */
ATCA_STATUS atcab_init(ATCAIfaceCfg *cfg);

/* The configuration zone, 128 bytes. A write leaves out bytes 0 to 15 and 84 to 89: identity and locks. */
ATCA_STATUS atcab_read_config_zone(uint8_t *config_data);
ATCA_STATUS atcab_write_config_zone(const uint8_t *config_data);

/* Locks are permanent; locking what is locked is an error, and so is a slot that its KeyConfig makes not lockable. */
ATCA_STATUS atcab_lock_config_zone(void);
ATCA_STATUS atcab_lock_data_zone(void);
ATCA_STATUS atcab_lock_data_slot(uint16_t slot);
ATCA_STATUS atcab_is_locked(uint8_t zone, bool *is_locked);
ATCA_STATUS atcab_is_slot_locked(uint16_t slot, bool *is_locked);

/* The slot counts in the data zone only. Offset and length of a write are multiples of 4. */
ATCA_STATUS atcab_get_zone_size(uint8_t zone, uint16_t slot, size_t *size);
ATCA_STATUS atcab_read_bytes_zone(uint8_t zone, uint16_t slot, size_t offset, uint8_t *data, size_t length);
ATCA_STATUS atcab_write_bytes_zone(uint8_t zone, uint16_t slot, size_t offset, const uint8_t *data, size_t length);

/*
 * Keys: 64 bytes, X then Y; digests: 32 bytes; signatures: 64 bytes, r then s. A stored public key lies at the start of
 * its slot as those 64 bytes, without padding. Verifying with bytes that are no P-256 key succeeds with `false`.
 */
ATCA_STATUS atcab_get_pubkey(uint16_t key_id, uint8_t *public_key);
ATCA_STATUS atcab_genkey(uint16_t key_id, uint8_t *public_key);
ATCA_STATUS atcab_read_pubkey(uint16_t slot, uint8_t *public_key);
ATCA_STATUS atcab_write_pubkey(uint16_t slot, const uint8_t *public_key);
ATCA_STATUS atcab_sign(uint16_t key_id, const uint8_t *message, uint8_t *signature);
ATCA_STATUS atcab_verify_extern(const uint8_t *message, const uint8_t *signature, const uint8_t *public_key,
                                bool *is_verified);
/* As the record of the last atcab_init says; ATCA_DEV_UNKNOWN without a session. */
ATCADeviceType atcab_get_device_type(void);

/*
 * EEPROM of the USB kit, 4096 bytes, erased 0xFF: byte count first, byte address second. The low eight bits of the
 * result are 0 on success. Only while the kit is the interface in use.
 */
int atcab_eeprom_read(uint16_t count, uint16_t address, uint8_t *buffer);
int atcab_eeprom_write(uint16_t count, uint16_t address, const uint8_t *buffer);

/* Computed on the host; needs no session. */
int atcac_sw_sha2_256(const uint8_t *data, size_t length, uint8_t *digest);

#ifdef __cplusplus
}
#endif

#include "atcacert.h"

#endif
