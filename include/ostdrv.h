/*
 * ostdrv: board-support library of an embedded Linux device.
 *
 * Rules that hold everywhere:
 *
 * - Every function does its whole work on the caller's thread and returns. There are no threads and no locks: use each
 *   family from one thread at a time.
 * - Buffers and paths belong to the caller and are lent for the duration of the call, unless a comment says otherwise.
 * - Paths and texts are NUL-terminated. Public keys are 64 bytes, the P-256 point X then Y, big-endian, without the
 *   04 prefix. ECDSA signatures are 64 bytes, r then s, big-endian, unless a comment says otherwise.
 * - Nothing is printed and errno carries no promise, unless a comment says otherwise.
 */
#ifndef OSTDRV_H
#define OSTDRV_H

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <cryptoauthlib.h>

#ifdef __GNUC__
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Attribute files -------------------------------------------------------------------------------------------- */

/*
 * Single files of sysfs and procfs: each call opens the file, transfers, and closes it again. No file is ever created.
 */

/* 0 when the path exists, -1 when not. */
int x_sysfs_exists(const char *path);

/*
 * Stores the file's size in bytes as stat reports it, kept to 32 bits: 4096 for a typical sysfs attribute, not the
 * length of its text. Follows symbolic links. Returns 0, or -1 with nothing stored.
 */
int x_sysfs_size(const char *path, unsigned int *size);

/*
 * Reads a decimal number from the first 16 bytes of the file with one read. White space and a sign may precede the
 * digits and anything may follow them; a text without digits stores 0, a number of more than 32 bits is cut.
 *
 * Returns 0; -1 when the file cannot be opened; the negated errno when the read fails or finds no byte. errno is not
 * cleared before the read, so an empty file gives the negation of what errno held: 0 when nothing was pending.
 * *value is stored only when at least one byte was read.
 */
int x_sysfs_read_int(const char *path, int *value);

/*
 * Writes the number in decimal, without a line end, with one write. Returns 0; -1 when the file cannot be opened for
 * reading and writing; else the negated errno, which is 0 for a short write that set none.
 */
int x_sysfs_write_int(const char *path, int value);

/*
 * Reads length bytes from offset, in chunks of at most 4096 with one read each. Returns 0 or -1.
 *
 * A read that gives at least one byte but fewer than asked ends the call with 0: the buffer is then taken as text, and
 * if its last character (before the first NUL, never beyond length) is a newline, that becomes a NUL. No terminator is
 * written otherwise: give a zero-filled buffer with room to spare to get a string. A chunk that gives no byte is -1, so
 * a file that ends exactly at a chunk's border before length is a failure. What was read before a failure stays in the
 * buffer. A length of 0 reads nothing and returns 0.
 */
int x_sysfs_read_bytes(const char *path, void *buffer, unsigned int offset, unsigned int length);

/*
 * Writes length bytes at offset, in chunks of at most 4096 with one write each; the file is opened for reading and
 * writing and not truncated. The first short or failed write ends the call with -1, with what was written before in
 * the file. A length of 0 makes one write of no bytes. Returns 0 or -1.
 */
int x_sysfs_write_bytes(const char *path, const void *data, unsigned int offset, unsigned int length);

/*
 * Looks for a word among the blank-separated words in the first 256 bytes of the file. Only blanks separate; the
 * newline at the file's end is not part of the last word. Returns 1 when one equals word exactly, 0 when none does, -1
 * when the file cannot be opened or read (an empty file is one).
 */
int x_sysfs_contains(const char *path, const char *word);

/* ---- Shell commands --------------------------------------------------------------------------------------------- */

/* ---- GPIO lines ------------------------------------------------------------------------------------------------- */

/* ---- Waiting for edges on GPIO lines ---------------------------------------------------------------------------- */

/* ---- Analog inputs and temperatures ----------------------------------------------------------------------------- */

/* ---- Lights ----------------------------------------------------------------------------------------------------- */

/* ---- Sensor-module EEPROM: regions ------------------------------------------------------------------------------ */

/* ---- Sensor-module EEPROM: payload ------------------------------------------------------------------------------ */

/* ---- MD5 -------------------------------------------------------------------------------------------------------- */

/* ---- Sensor-module EEPROM: store, load, check, erase ------------------------------------------------------------ */

/* ---- Secure element: detection and start-up --------------------------------------------------------------------- */

/* ---- Secure element: slots -------------------------------------------------------------------------------------- */

/* ---- Secure element: keys and signatures ------------------------------------------------------------------------ */

/* ---- Secure element: provisioning ------------------------------------------------------------------------------- */

/* ---- Certificates: storing, locking, exporting, verifying ------------------------------------------------------- */

/* ---- Certificates: serial number -------------------------------------------------------------------------------- */

/* ---- Certificates: signing requests ----------------------------------------------------------------------------- */

/* ---- Certificates: PEM and DER ---------------------------------------------------------------------------------- */

/* ---- Certificates: templates ------------------------------------------------------------------------------------ */

#ifdef __cplusplus
}
#endif

#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#endif
