/*
 * Key/value settings store of the platform, kept in one region that the caller reads and writes for it.
 *
 * One store is open at a time, process-wide: kset_init opens it, kset_shutdown closes it. Functions that return int
 * return 0 for success and -1 for a refusal or failure, except kset_get_int. Nothing is printed.
 *
 * Declaring and setting. A setting has an identifier from 1 to the count given to kset_init, one kind (integer, byte
 * string, text) and a default. Its name is a label for people: it is not kept, not stored and need not be unique. An
 * identifier out of range or declared before, a null name, a length out of range, a default or value that the
 * declaration does not allow: each is refused and changes nothing. After a refused declaration or value the store is no
 * longer what its user takes it for, so kset_read and kset_write fail until the next kset_init: who does not look at
 * every result still never stores half of what was meant.
 *
 * The region. It holds one image: magic, version, the image's own length, the settings and a CRC-32 over all of it.
 *
 *   offset 0  magic "kset" (while the image is being written: "....")
 *          4  version, 2 bytes: 1
 *          6  length of the image in bytes, header included, 4 bytes
 *         10  CRC-32 (ISO 3309) of a whole image's bytes without these four
 *         14  settings in ascending order of identifiers, each: identifier (2 bytes), kind (1: 1 integer, 2 byte
 *             string, 3 text), length (2), value (integer: 4 bytes; byte string: its declared length; text: its
 *             characters without the terminator)
 *
 * Numbers are little-endian. Five settings, four texts of 31 characters and 16 bytes, take 179 bytes.
 */
#ifndef KSET_H
#define KSET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* No value is longer: a length gone wrong is refused before a byte of it is touched. */
#define KSET_MAX_LENGTH 12288

/*
 * Transfer length bytes between buffer and the start of the region; 0 for success, anything else is a failure. A read
 * that finds fewer bytes may succeed: what it leaves of a buffer counts as zero bytes.
 */
typedef int (*kset_read_fn)(void *buffer, unsigned int length);
typedef int (*kset_write_fn)(const void *buffer, unsigned int length);

/*
 * Opens a store for identifiers 1 to count over a region of size bytes, with nothing declared; neither function is
 * called yet. A store still open, for instance after a failed kset_write, is closed first and leaves nothing behind.
 * reserved is not looked at.
 *
 * Refused, with no store open afterwards and everything up to the next kset_init failing: a count of 0 or above 65535,
 * a null function, a region too small for an image's header, and one of 2^31 bytes or more, which is what a negative
 * size becomes.
 */
int kset_init(unsigned int count, unsigned int size, int reserved, kset_read_fn read, kset_write_fn write);

/*
 * Declare a setting, which then has its default value; also after a kset_read, whose next call fills it. The default
 * of an integer must lie within minimum to maximum; a byte string has exactly length bytes (0 to KSET_MAX_LENGTH) and a
 * null default stands for zeros; a text has at most length - 1 characters (length 1 to KSET_MAX_LENGTH).
 */
int kset_add_int(int id, const char *name, int minimum, int maximum, int default_value);
int kset_add_hex(int id, const char *name, int length, const uint8_t *default_value);
int kset_add_string(int id, const char *name, int length, const char *default_value);

/*
 * Gives every declared setting its stored value, or its default when the image does not have it. What the image has
 * beyond the declared settings is left alone. An erased region, whose image header is all 0xFF or all 0x00, is an image
 * without settings. All or nothing: after a failure every value is as it was.
 *
 * Fails when the read function does; when the region holds anything else than an erased or whole image (foreign bytes,
 * an interrupted write, a flipped bit, a length that is not the image's, an identifier above count); and when the
 * stored value of a declared setting has another kind or length or is outside its bounds. kset_write is still allowed
 * then: it replaces what could not be read.
 *
 * Moves only the bytes that the image has: its header first, then the whole image if its length can be true. When the
 * header is still the one that this store read last, the image is not read again.
 */
int kset_read(void);

/*
 * Replaces the region's image by one of all declared settings with their values, and nothing beyond its length. An
 * image larger than the region fails before anything is written.
 *
 * The image is first written whole under the magic of an unfinished one, then its magic alone. So an interruption at
 * any byte leaves the old image untouched, the new one complete, or what kset_read refuses.
 */
int kset_write(void);

/*
 * The value of a declared setting; 0 or null for an identifier that is not declared with that kind. The pointer is
 * never null for a declared one, even of length 0, and valid until the setting is set or the store read or closed.
 */
int kset_get_int(int id);
const uint8_t *kset_get_hex(int id);
const char *kset_get_string(int id);

/*
 * Set the value that the next kset_write stores. kset_set_hex takes as many bytes as were declared; kset_set_string
 * looks at no more than the declared length.
 */
int kset_set_int(int id, int value);
int kset_set_hex(int id, const uint8_t *value);
int kset_set_string(int id, const char *value);

/* Closes the store; without one, does nothing. The region is not touched. */
void kset_shutdown(void);

#ifdef __cplusplus
}
#endif

#endif
