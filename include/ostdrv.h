/*
 * ostdrv: board-support library of an embedded Linux device.
 *
 * Rules that hold everywhere:
 *
 * - Every function does its whole work on the caller's thread and returns. There are no threads and no locks: use each
 *   family from one thread at a time.
 * - Buffers and paths belong to the caller and are lent for the duration of the call, unless said otherwise.
 * - Paths and texts are NUL-terminated. Public keys are 64 bytes, the P-256 point X then Y, big-endian, without the
 *   04 prefix. ECDSA signatures are 64 bytes, r then s, big-endian, unless said otherwise.
 * - Nothing is printed and errno carries no promise, unless said otherwise.
 *
 * Files that the library uses besides those that callers name:
 *
 *   /sys/class/gpio          GPIO lines
 *   /sys/class/backlight     lights
 *   /var/tmp/adc             analog inputs
 *   /dev/i2c-2               the bus on which an ATECC is looked for
 *   /mnt/settings/atecc      marker: an ATECC was found
 *   /mnt/settings/trustx     marker: a Trust X was found
 *   /proc/device-tree        tpm-i2c-bus, tpm-i2c-address and tpm-use-usb: how the ATECC is reached
 *   /tmp                     two files while openssl takes a certificate apart
 *
 * Commands that the library runs besides those that callers give it, all in the standard shell:
 *
 *   /bin/cat, /bin/touch, /bin/rm   read and write the markers
 *   i2cget                          asks for the ATECC where the device tree speaks of the USB kit
 *   /usr/bin/openssl                takes certificates apart
 *   pgrep                           looks for processes
 */
#ifndef OSTDRV_H
#define OSTDRV_H

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/*
 * Five declarations have types of the ATECC library: its interface records and certificate definitions. A program that
 * defines OSTDRV_WITHOUT_CRYPTOAUTHLIB before it includes this header does without these five and needs no header
 * but the C library's. Programs that do not define it may rely on this header for the ATECC library's own.
 */
#ifndef OSTDRV_WITHOUT_CRYPTOAUTHLIB
#include <cryptoauthlib.h>
#endif

#ifdef __GNUC__
#pragma GCC visibility push(default)
#endif

/* Lets the compiler check formats against their arguments. */
#ifdef __GNUC__
#define OSTDRV_PRINTF(text, arguments) __attribute__((__format__(__printf__, text, arguments)))
#else
#define OSTDRV_PRINTF(text, arguments)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Attribute files -------------------------------------------------------------------------------------------- */

/*
 * Single files of sysfs and procfs: each call opens the file, transfers, and closes it again. No file is ever created.
 *
 * The two writing functions open the file for reading and writing. For attributes that can only be written, such as
 * export and new_device, sysfs refuses that to root as well: they cannot be written through these functions.
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
 *    0       read: at least one byte was there. *value is stored in this case only
 *   -1       the file cannot be opened
 *   -errno   the read failed or found no byte. errno is not cleared before the read, so an empty file gives the
 *            negation of what errno held: 0 when nothing was pending
 */
int x_sysfs_read_int(const char *path, int *value);

/*
 * Writes the number in decimal, without a line end, with one write.
 *
 *    0       written whole; also a short write that set no errno
 *   -1       the file cannot be opened for reading and writing
 *   -errno   the write failed
 */
int x_sysfs_write_int(const char *path, int value);

/*
 * Reads length bytes from offset, in chunks of at most 4096 with one read each. Returns 0 or -1.
 *
 * A read that gives at least one byte but fewer than asked ends the call with 0: the buffer is then taken as text, and
 * if its last character (before the first NUL, never beyond length) is a newline, that becomes a NUL. So of a text
 * longer than the kernel hands out at once, such as many in procfs, only the first piece is read, and nothing says so.
 * No terminator is written otherwise: give a zero-filled buffer with room to spare to get a string.
 *
 * A chunk that gives no byte is -1, so a file that ends exactly at a chunk's border before length is a failure. What
 * was read before a failure stays in the buffer. A length of 0 reads nothing and returns 0.
 */
int x_sysfs_read_bytes(const char *path, void *buffer, unsigned int offset, unsigned int length);

/*
 * Writes length bytes at offset, in chunks of at most 4096 with one write each; the file is not truncated. The first
 * short or failed write ends the call with -1, with what was written before in the file. A length of 0 makes one write
 * of no bytes. Returns 0 or -1.
 */
int x_sysfs_write_bytes(const char *path, const void *data, unsigned int offset, unsigned int length);

/*
 * Looks for a word among the blank-separated words in the first 256 bytes of the file. Only blanks separate. Of a file
 * shorter than 256 bytes the newline at its end is dropped first; in a longer one, or one of just 256 bytes, a newline
 * belongs to the word it follows, and byte 256 ends a word wherever it is.
 *
 *    1   one of the words equals word exactly
 *    0   none does
 *   -1   the file cannot be opened or read; an empty file cannot
 */
int x_sysfs_contains(const char *path, const char *word);

/* ---- Shell commands --------------------------------------------------------------------------------------------- */

/*
 * Commands run through system and popen, so by the standard shell, on the caller's thread. Formats are printf's; the
 * formatted text goes to the shell as it is, so quote what comes from outside. A text that does not fit is cut at the
 * limit given, and the cut command is run. When the environment variable X_SHELL_DEBUG is set, to whatever value, each
 * command is printed to standard output before it runs; the variable is read at every call.
 */

/*
 * Runs "(" + text + suffix. The suffix closes the group, so it begins with ")"; it has at most 1023 characters, and the
 * text is cut to 1023 less the suffix's length. Returns what system returns: a wait status, or -1 when no shell could
 * be started; -1 also, with nothing run, for a longer suffix or a format that cannot be filled in.
 *
 * With X_SHELL_DEBUG: "Shell command: '%s'\n".
 */
int x_shell(const char *suffix, const char *format, va_list args) OSTDRV_PRINTF(2, 0);

/* Runs a command of at most 1005 characters, its output thrown away, and waits for its end. Result as x_shell. */
int x_shell_exec(const char *format, ...) OSTDRV_PRINTF(1, 2);

/*
 * The same in the background, for at most 1003 characters: returns as soon as the shell has started the command, whose
 * own result is lost.
 */
int x_shell_exec_background(const char *format, ...) OSTDRV_PRINTF(1, 2);

/*
 * Starts a command of at most 1018 characters, without a group around it, and returns a stream to read its output from.
 * " 2>&1" is put behind the text, so of several commands only the last has its errors in the stream. The caller closes
 * the stream with pclose, which POSIX declares and ISO C does not: with -std=c11 define _POSIX_C_SOURCE. Null when the
 * command cannot be started or the format cannot be filled in.
 *
 * With X_SHELL_DEBUG: "Shell popen command: '%s'\n".
 */
FILE *x_shell_popen(const char *format, ...) OSTDRV_PRINTF(1, 2);

/*
 * The id of the process with exactly this name, as pgrep -x compares it (a regular expression, against the first 15
 * characters of a command's name); of several the one that pgrep prints last. Processes whose name contains "pgrep"
 * are not found; a child that has ended is, until its parent has waited for it. The name stands in double quotes in a
 * shell command: do not pass on one from outside.
 *
 * -1 when there is none, pgrep cannot be run, or the name has more than 243 characters (nothing is run then).
 */
int x_shell_get_process_pid(const char *name);

/*
 * Blocks, without a time limit, until a process of this name is there (state 1) or no longer there (state 0): asks at
 * once and then every 250 ms. Any other state returns at once, without asking.
 *
 * Whenever x_shell_get_process_pid says -1 the process counts as not there: a query that cannot be made ends a wait for
 * 0 and prolongs a wait for 1 for as long as it cannot. A child that the caller itself has started and not waited for
 * stays there after its end, so a wait for 0 of it never returns.
 */
void x_shell_wait_process(const char *name, int state);

/* ---- GPIO lines ------------------------------------------------------------------------------------------------- */

/*
 * Lines of the kernel's sysfs GPIO class (Documentation/admin-guide/gpio/sysfs.rst), by kernel GPIO number.
 *
 * Every function exports the line first, so nobody has to. Lines stay exported, and their settings stay in the kernel,
 * after the call and after the process. Each call opens an attribute, makes one transfer and closes it; no call waits
 * for attributes to appear or to become accessible after an export.
 *
 * All return 0, or -1 when the line cannot be exported or an attribute cannot be opened, read or written;
 * out-parameters are stored only on success. Values are logical: the kernel inverts them on an active-low line.
 */

/* Directions and edges, as the functions below take and store them; 3 is stored only. */
enum { X_GPIO_INPUT = 0, X_GPIO_OUTPUT = 1 };
enum { X_GPIO_EDGE_FALLING = 0, X_GPIO_EDGE_RISING = 1, X_GPIO_EDGE_BOTH = 2, X_GPIO_EDGE_NONE = 3 };

/*
 * Makes the line's directory exist. Writes nothing when it does already. Of two processes that export one line at the
 * same moment, one may be refused (EBUSY): -1, and the next call finds the line exported.
 */
int x_gpio_util_export(int gpio);

/* Stores X_GPIO_INPUT or X_GPIO_OUTPUT. */
int x_gpio_util_get_direction(int gpio, int *direction);

/*
 * X_GPIO_INPUT makes the line an input, any other value an output, which then drives low. Nothing is written when the
 * line has that direction already; for an output this is known of X_GPIO_OUTPUT only, so other values drive the line
 * low again.
 */
int x_gpio_util_direction(int gpio, int direction);

/* Stores 1 when the line reads 1, else 0. The direction is left as it is. */
int x_gpio_util_get(int gpio, int *value);

/* Makes the line an output, unless it is one, and drives it: 0 writes 0, any other value 1. */
int x_gpio_util_set(int gpio, int value);

/*
 * Selects the edge that wakes a waiting reader: X_GPIO_EDGE_FALLING, X_GPIO_EDGE_RISING or X_GPIO_EDGE_BOTH. Any other
 * code is -1, before the line is exported. Nothing here switches detection off again; but an edge that the kernel
 * refuses (-1: the line has no interrupt, for one) leaves the line without the edge that it had before.
 */
int x_gpio_util_edge(int gpio, unsigned int edge);

/* Stores the edge selected; X_GPIO_EDGE_NONE for none and for any other text. */
int x_gpio_util_get_edge(int gpio, int *edge);

/* Stores the digit that the kernel shows: 1 when the line is active low, else 0. Anything but a digit is 0. */
int x_gpio_util_get_active_low(int gpio, int *active_low);

/* 0 makes the line active high, any other value active low. */
int x_gpio_util_active_low(int gpio, int active_low);

/* ---- Waiting for edges on GPIO lines ---------------------------------------------------------------------------- */

/*
 * An edge selected with x_gpio_util_edge makes the line's value attribute report POLLPRI to poll until it is read from
 * its start. A wait on one line reads it once before it waits: an edge before that read is not reported. Lines prepared
 * together are read once at their set-up and again after each reported edge: an edge at any time after the set-up ends
 * the next wait, also one that came before that wait began, and several edges of a line between two waits are one.
 *
 * Timeouts are milliseconds, handed to poll as they are: 0 only looks, a negative one waits without limit. A signal
 * ends a wait early, as if its time had passed. Nothing wakes a wait whose line is unexported meanwhile.
 *
 * Several lines are prepared once, waited on as often as needed, and released. The entries belong to the caller and
 * hold the open descriptors; one thread at a time may wait on them.
 */

/* One line of a wait on several: 20 bytes. Begin with fd -1: in zeroed entries it is 0, standard input. */
typedef struct x_gpio_poll_entry {
    int gpio;  /* kernel GPIO number, set by the caller */
    int edge;  /* X_GPIO_EDGE_FALLING, _RISING or _BOTH, set by the caller */
    int value; /* the line's value, 0 or 1, read after its edge was seen */
    int fired; /* set to 1 when an edge was seen and the value read; only the caller sets it back to 0 */
    int fd;    /* open value attribute, or -1; set by set-up and clean-up */
} x_gpio_poll_entry;

/*
 * Makes a line an input, selects the edge and waits for it.
 *
 *    0   the edge was seen, and the line's value is stored; *value is stored in this case only
 *    1   no edge within timeout_ms, or poll failed
 *   -1   the line cannot be prepared, opened or read, or poll reported something else than an edge, which prints
 *        "revents %x\n"; an edge code above X_GPIO_EDGE_BOTH, after the line was exported and made an input
 *
 * The line stays an input armed for the edge.
 */
int x_gpio_util_poll(int gpio, unsigned int edge, int timeout_ms, int *value);

/*
 * Makes up to 16 lines inputs, selects their edges, and opens them for waiting.
 *
 *    0   every entry's fd is open, to be released with x_gpio_poll_multiple_cleanup; for a count of 0 or less nothing
 *        was done
 *   -1   entries is null or count above 16: nothing was touched
 *   -1   a line cannot be configured: no fd was touched
 *   -1   a line cannot be opened or read: every fd is -1
 *
 * Lines configured before a failure stay so. Descriptors that the entries hold from an earlier set-up are overwritten,
 * not closed: clean up first.
 */
int x_gpio_util_poll_multiple_setup(x_gpio_poll_entry *entries, int count);

/*
 * Waits until at least one of the lines has had its edge; with a count of 0, for exactly timeout_ms. Every line that
 * fired gets fired 1 and its value; the other entries are left as they are.
 *
 *    0   poll reported a line. No entry has fired when what it reported was not an edge, or the line's value could not
 *        be read any more
 *    1   no edge within timeout_ms, or poll failed: every entry is unchanged
 *   -1   entries is null, or count negative or above 16: nothing was touched
 */
int x_gpio_util_poll_multiple(x_gpio_poll_entry *entries, int count, int timeout_ms);

/*
 * Closes the descriptors that are not -1, whatever put them there, and sets them to -1; a second call does nothing.
 * After a set-up that failed before it touched fd, this closes what the caller had in it: see x_gpio_poll_entry. The
 * entries must not be null when the count is above 0. Lines stay exported, inputs and armed.
 */
void x_gpio_poll_multiple_cleanup(x_gpio_poll_entry *entries, int count);

/* ---- Analog inputs and temperatures ----------------------------------------------------------------------------- */

/*
 * Raw samples come from the kernel's industrial-I/O attributes (Documentation/ABI/testing/sysfs-bus-iio), which the
 * system makes reachable below /var/tmp/adc: channel N is the decimal text in /var/tmp/adc/in_voltageN_raw.
 *
 * A read that fails or finds an empty attribute prints a line with perror("read"); a missing attribute prints nothing.
 */

/*
 * One sample of a channel, in counts. -1 when the attribute cannot be opened or read or does not begin with a number;
 * a raw reading of -1 looks the same.
 */
int adc_read_impl(int channel);

/*
 * A sample taken after the input has settled: samples once and drops the result, blocks for at least 100 ms, whatever
 * signals arrive, and returns a second sample as adc_read_impl does.
 */
int adc_read(int channel);

/*
 * Temperature in degrees Celsius of an NTC thermistor in the lower leg of a divider on the ADC's reference, by the Beta
 * equation around 25 degrees. r_nominal is the thermistor's resistance at 25 degrees and r_series the fixed resistor
 * in the upper leg, both in ohms; beta is in kelvin, adc_full_scale in counts. Takes one sample, without settling.
 *
 * Returns 0, or -1 when no sample could be had, with *temp unchanged. Nothing is checked for range: a reading of 0 or
 * of full scale stores -273.15, one above full scale NaN, and both return 0.
 */
int ntc_temp_read(int channel, int r_nominal, int beta, int r_series, int adc_full_scale, float *temp);

/*
 * Temperature in degrees Celsius from an attribute in millidegrees, read as x_sysfs_read_int does. Returns 0, or -1
 * with *temp unchanged when that fails. As there, an empty attribute counts as read when errno was 0 before: it stores
 * 0.
 */
int ntc_sysfs_temp_read(const char *path, float *temp);

/* ---- Lights ----------------------------------------------------------------------------------------------------- */

/*
 * PWM-driven lights are devices of the kernel's backlight class (Documentation/ABI/stable/sysfs-class-backlight) named
 * by at most 31 characters, with a brightness of 0 to 255. Percentages are converted to it and back by rounding to the
 * nearest, halves away from zero, and are not limited to 100: the kernel refuses what is too much.
 */

/* 0 when channel is one of the count numbers, -1 when not. channels may be null when count is 0. */
int x_pwm_is_valid_channel(unsigned int count, const int *channels, int channel);

/*
 * Opens /sys/class/backlight/NAME/brightness for reading and writing, with truncation. Returns a descriptor, which the
 * caller releases with pwm_proc_close, or -1; a longer name is -1 with nothing opened.
 */
int pwm_proc_open(const char *name);

/* What close returns. */
int pwm_proc_close(int fd);

/*
 * The two functions below transfer at the descriptor's position and move it on: a read that follows a read or a write
 * does not find the number any more, until the caller seeks back to the start (lseek).
 */

/* Writes a raw value in decimal with one write. 0, or -1 when that fails or falls short, or fd is 0 or less. */
int pwm_proc_write(int fd, int value);

/*
 * Reads a raw value with one read of at most 15 bytes. A number of more than 32 bits is cut.
 *
 *    0   *value is stored
 *   -1   fd is 0 or less, or nothing can be read: nothing is stored
 *   -1   the text does not begin with a number: 0 is stored
 */
int pwm_proc_read(int fd, unsigned int *value);

/*
 * Sets a light's duty cycle: 50 % is written as 128, 200 % as 510. A percentage whose value does not fit an int is
 * written as the largest int. Returns 0, or -1 when the light cannot be opened or written.
 */
int x_pwm_set_cycle(const char *name, unsigned int percent);

/*
 * Reads a light's duty cycle.
 *
 *    0   *percent is stored
 *   -1   the light cannot be opened: *percent is unchanged
 *   -1   it cannot be read: *percent is converted all the same and means nothing
 */
int x_pwm_read_cycle(const char *name, unsigned int *percent);

/*
 * Sets one colour of the status LED, 0 red, 1 green, 2 blue, to a brightness in percent; on the scale 0 to 255 it is
 * cut down, not rounded, and taken modulo 256. Returns 0 when the value was written whole, else -1.
 *
 * A weak symbol: a program's own definition takes its place. So does that of a shared library, if it stands before
 * libostdrv in the order of linking; the dynamic loader takes the first that it finds, weak or not. This one drives
 * colours through control files, and this board's colours have none, so it returns -1 for every colour without touching
 * a file.
 */
int led_drive_set_value(uint8_t colour, uint8_t percent);

/* ---- Sensor-module EEPROM: regions ------------------------------------------------------------------------------ */

/*
 * The sensor module's EEPROM is one file of the kernel, named by every store operation below. Bytes 0 to 255 are the
 * header region, the rest the calibration region; what is inside a region is the platform's settings store's affair,
 * which moves its image with these four functions. Every transfer starts at its region's first byte.
 *
 * They work on the file of the latest operation that opened the settings store: its path is kept as a pointer, never
 * reset, and read again at every call here, so it must still be valid then. x_sensor_eeprom_reset opens no store, nor
 * does an operation that refuses its payload (15) or does not find the file (11): they leave the path as it was. Before
 * any that does, these functions print "EEPROM sysfs path not set" (no line end) and return -1.
 *
 * Messages of all sensor EEPROM functions go to standard output. All four return 0 or -1 and open and close the file
 * themselves.
 */

/*
 * Read length bytes from file offset 0 (at most 256) or from offset 256 into buffer, which stays untouched by a
 * failure. A file that ends earlier, but not at a border of 4096 bytes of the transfer, counts as read: the missing
 * bytes are zero, and the newline rule of x_sysfs_read_bytes applies.
 *
 * eeprom_header_read prints "Invalid len to read [length] > [256]" (no line end) before it opens anything, and "Failed
 * to read [length] bytes from offset [0] device [path]" with CR and LF. eeprom_calib_read is silent about a failed
 * read; it needs a temporary buffer of length bytes from kos_mem_alloc and prints "Memory buffer allocation failed" (no
 * line end) without one.
 */
int eeprom_header_read(void *buffer, unsigned int length);
int eeprom_calib_read(void *buffer, unsigned int length);

/*
 * Write length bytes at file offset 0 (at most 256) or at offset 256 and touch nothing else. A failure may leave a part
 * written and prints "Failed to write [length] bytes to offset [0 or 256] device [path]" with CR and LF; the header
 * function prints "Invalid len to write [length] > [256]" (no line end) before it opens anything.
 */
int eeprom_header_write(const void *buffer, unsigned int length);
int eeprom_calib_write(const void *buffer, unsigned int length);

/* ---- Sensor-module EEPROM: payload ------------------------------------------------------------------------------ */

/* Codes that the store operations leave in *status. */
enum {
    X_SENSOR_EEPROM_OK = 0,
    X_SENSOR_EEPROM_ERR_FIELD_TYPE = 3, /* a header field of unknown kind */
    X_SENSOR_EEPROM_ERR_EMPTY = 4,      /* a setting read back is empty text, or bytes that are all 0 */
    X_SENSOR_EEPROM_ERR_DEVICE = 11,    /* the EEPROM file is missing, or its size cannot be obtained */
    X_SENSOR_EEPROM_ERR_READ = 12,      /* a region could not be read, or what was read does not fit the payload */
    X_SENSOR_EEPROM_ERR_WRITE = 13,     /* a region could not be written */
    X_SENSOR_EEPROM_ERR_TOO_LARGE = 14, /* the tables are larger than the EEPROM */
    X_SENSOR_EEPROM_ERR_PAYLOAD = 15,   /* the payload is missing or invalid */
    X_SENSOR_EEPROM_ERR_HASH = 17,      /* the stored digest is another one */
    X_SENSOR_EEPROM_ERR_VERSION = 18    /* the stored header_version is not "s5l" */
};

enum { X_SENSOR_EEPROM_TABLES = 20, X_SENSOR_EEPROM_TABLE_CAPACITY = 12288 };

/* Indexes of the header texts in a payload; index 0 is never read or written. */
enum {
    X_SENSOR_EEPROM_HEADER_SENSOR = 1,
    X_SENSOR_EEPROM_HEADER_VERSION = 2,
    X_SENSOR_EEPROM_HEADER_LENS = 3,
    X_SENSOR_EEPROM_HEADER_SN = 4
};

/* The header_version of the layout that this library stores: header[X_SENSOR_EEPROM_HEADER_VERSION] holds it. */
#define X_SENSOR_EEPROM_LAYOUT_VERSION "s5l"

typedef struct x_sensor_eeprom_table {
    char name[64];     /* at most 63 characters and a NUL; empty: the slot holds no table */
    uint8_t *data;     /* the table's bytes */
    uint32_t capacity; /* size of data in bytes */
    int32_t length;    /* bytes of data in use */
} x_sensor_eeprom_table;

/*
 * What the EEPROM holds. An application names the slots of the tables that it stores or loads. A table's place in the
 * EEPROM follows from its slot, not from its name or its neighbours, so it stays in one slot for good.
 */
typedef struct x_sensor_eeprom_payload {
    char header[5][32];                                   /* texts of at most 31 characters and a NUL */
    uint8_t hash[16];                                     /* MD5 of the tables' bytes in slot order */
    x_sensor_eeprom_table tables[X_SENSOR_EEPROM_TABLES]; /* the table slots */
} x_sensor_eeprom_payload;

/*
 * Makes a payload of 20 unnamed slots, each with a buffer of 12288 bytes, capacity 12288 and length 0. Header texts,
 * hash and the name bytes after the first are not initialised. The caller releases it with
 * x_sensor_eeprom_payload_free. Returns null, with nothing left allocated, when the platform's memory runs out.
 */
x_sensor_eeprom_payload *x_sensor_eeprom_payload_init(void);

/*
 * Releases a payload, and with kos_mem_free the data of each slot, named or not, whose capacity lies within 1 to 12288.
 * A slot with an application's own buffer keeps it: set such a slot's capacity to 0 first, or have it above 12288. Null
 * is ignored.
 */
void x_sensor_eeprom_payload_free(x_sensor_eeprom_payload *payload);

/* ---- MD5 -------------------------------------------------------------------------------------------------------- */

/* MD5 as RFC 1321 defines it, in pieces. A context is the caller's, valid from init to finalise; nothing is allocated.
 */

typedef struct x_sensor_eeprom_md5_ctx {
    uint32_t state[4];  /* the chaining values */
    uint32_t count[2];  /* message bits so far, modulo 2 to the 64th, low word first */
    uint8_t buffer[64]; /* input that does not fill a block yet */
} x_sensor_eeprom_md5_ctx;

/* Starts a message. The context's buffer is left as it is. */
void x_sensor_eeprom_md5_init(x_sensor_eeprom_md5_ctx *ctx);

/*
 * Adds length bytes of any alignment, which pass through the context's buffer. A length of 0 changes nothing, and data
 * may be null then.
 */
void x_sensor_eeprom_md5_update(x_sensor_eeprom_md5_ctx *ctx, const void *data, unsigned int length);

/* Ends the message: stores the digest's 16 raw bytes, and sets every byte of the context to 0. */
void x_sensor_eeprom_md5_finalise(x_sensor_eeprom_md5_ctx *ctx, unsigned char *digest);

/* ---- Sensor-module EEPROM: store, load, check, erase ------------------------------------------------------------ */

/*
 * Operations on the EEPROM behind path. Each returns 0 or -1 and stores an X_SENSOR_EEPROM_ code through status, which
 * must not be null. They block for as long as the EEPROM takes, use the platform's process-wide settings store, which
 * nobody else may have open meanwhile, and close it before they return; only after a failed write (13) it stays open
 * until the next operation opens it anew. They keep the path pointer for the region functions above.
 *
 * path must exist (11 if not). A payload other than that of x_sensor_eeprom_store is not checked: it must be valid.
 *
 * An interrupted or damaged image is a failed read (12), never data. The tables can simply be stored again; a header
 * that cannot be read is not overwritten either, so erase the EEPROM with x_sensor_eeprom_reset first. A region whose
 * first 14 bytes are all 0xFF or all 0x00 counts as erased, whatever stands behind them: without settings, as if
 * nothing had ever been stored. The device's settings store is the platform's own: what this paragraph says is promised
 * of the one that comes with this library.
 */

/*
 * Stores every named table, reads all back, and then stores the header with the digest of what was read. It replaces
 * the lengths and data of the payload's named slots with what was read back, and hash with the new digest. Success says
 * that what was read back is digested, not that it is what was handed in: a part that acknowledges writes and keeps its
 * cells gives its old tables back, or none. Who must know compares the payload with a copy. Without named slots the
 * digest is that of the empty message.
 *
 *    0   tables and header are stored
 *   11   the file is missing or has no size
 *   12   the read-back failed, among other things because a table is all zeros, longer than capacity or than 12288
 *        bytes, or of another size from one reading to the next; or the header region could not be read
 *   13   the tables, or after them the header, could not be written, also because their image is larger than the
 *        region; a length above 12288 ends so, with nothing written
 *   14   the lengths add up to more than the size of the file; nothing is written
 *   15   payload is null, its header_version (header[2]) is not exactly "s5l", or a named slot has no data, a length of
 *        0 or less or a capacity of 0; nothing is opened or printed. length is not compared with capacity here: data
 *        must hold length bytes
 *
 * Once the tables are written, a failure leaves them there beside the old header, with the digest of the tables before
 * them. A failed read-back leaves the slots partly refilled and hash unchanged.
 *
 * Prints a line for every setting it makes and for every stage.
 */
int x_sensor_eeprom_store(const char *path, x_sensor_eeprom_payload *payload, int *status);

/*
 * Stores header[1] to header[4], as they stand, and hash.
 *
 *    0   stored
 *   11   the file is missing
 *   12   the header region could not be read before it was to be written
 *   13   it could not be written, or a text has no NUL within its 32 bytes
 */
int x_sensor_eeprom_store_header(const char *path, const x_sensor_eeprom_payload *payload, int *status);

/*
 * Loads the named tables: each gets its stored size as length and that many bytes in data; one that was never stored
 * gets length 0. Header texts and hash are not touched and no digest is compared.
 *
 *    0   loaded
 *   11   the file is missing or has no size
 *   12   any other failure; slots may be partly refilled. A stored size that is negative, above the slot's capacity,
 *        above 12288 or meant for a slot without data is such a failure: that slot's length becomes 0 and nothing is
 *        copied into any slot
 */
int x_sensor_eeprom_load(const char *path, x_sensor_eeprom_payload *payload, int *status);

/*
 * Loads header[1] to header[4], each up to 31 characters and a NUL, and hash. A region that cannot be read, or is found
 * empty, leaves the payload untouched.
 *
 *    0   loaded
 *    4   a text is empty or the digest all zero, as in an erased EEPROM
 *   11   the file is missing
 *   12   the header region could not be read
 */
int x_sensor_eeprom_load_header(const char *path, x_sensor_eeprom_payload *payload, int *status);

/*
 * Asks cheaply, from the header region alone, whether the EEPROM still holds the tables of a digest of 16 bytes that
 * the caller has kept. Prints both digests as raw bytes, up to their first zero byte.
 *
 *    0   it does
 *   17   the digest is another one
 *   18   header_version is not "s5l"
 *    4, 11 and 12 as in x_sensor_eeprom_load_header
 */
int x_sensor_eeprom_check_header(const char *path, const unsigned char *cached_md5, int *status);

/*
 * Erases: writes 0xFF over the whole file. What it held is lost for good. Prints the size.
 *
 *    0, status 0    erased
 *   -1, status 11   the file is missing or has no size
 *   -1, status 0    the platform's memory does not suffice for a buffer of that size, with nothing written; or the
 *                   write failed, with a part written
 */
int x_sensor_eeprom_reset(const char *path, int *status);

/* ---- Secure element: detection and start-up --------------------------------------------------------------------- */

/*
 * The device carries one of two secure elements: an ATECC (508A or 608A) or a Trust X. Which one is decided once per
 * process, at the first call that needs to know, and remembered across processes in a marker file,
 * /mnt/settings/atecc or /mnt/settings/trustx. Without a marker, a chip that answers at I2C address 0x60 on bus 2
 * within five tries is an ATECC; anything else is taken to be a Trust X. Detection runs shell commands and cannot fail.
 *
 * On an ATECC call tpm_init_device once in the process before any other function that reaches the chip; the chip's
 * library then keeps its session. Every Trust X operation opens and closes a session of its own.
 *
 * Every tpm_ function that says it returns a status returns one of these codes.
 */
enum {
    TPM_OK = 0,                 /* success, also when there is nothing to do on a Trust X */
    TPM_ERR_NOT_STARTED = 1,    /* the ATECC could not be brought up */
    TPM_ERR_CHIP = 2,           /* a chip-library call failed, or a Trust X session could not be opened; the library's
                                   own code is not passed on */
    TPM_ERR_ARGUMENT = 3,       /* a required pointer is null, or a length is 0 or out of range; nothing was touched */
    TPM_ERR_LOCKED = 4,         /* the slot is locked and the write was refused */
    TPM_ERR_BUFFER = 5,         /* the caller's buffer is too small, or memory ran out */
    TPM_ERR_PATH = 6,           /* no usable certificate file path */
    TPM_ERR_MODEL = 7,          /* no default configuration for this ATECC model */
    TPM_ERR_FILE = 8,           /* a file could not be opened, read, decoded or written */
    TPM_ERR_COMMAND = 9,        /* the OpenSSL command failed */
    TPM_ERR_DIRECTORY = 11,     /* no certificate of that kind in the USB kit's directory */
    TPM_ERR_SERIAL_NUMBER = 12, /* serial number length outside 1 to 34 */
    TPM_ERR_NO_TABLE = 13,      /* no certificate operations table could be chosen */
    TPM_ERR_NO_OPERATION = 14,  /* the chosen operations table lacks the operation */
    TPM_ERR_CERTIFICATE = 15,   /* a certificate could not be rebuilt or encoded, or a Trust X chain did not verify */
    TPM_ERR_TOO_LARGE = 17      /* data too large for its slot or object, or a base64 conversion failed */
};

/* Chip types, as tpm_get_chip_type stores them. */
enum { TPM_CHIP_ATECC = 1, TPM_CHIP_TRUSTX = 2 };

/* ATECC models, as tpm_get_type returns them. */
enum { TPM_MODEL_ATECC508A = 0, TPM_MODEL_ATECC608A = 1, TPM_MODEL_UNKNOWN = 32 };

#ifndef OSTDRV_WITHOUT_CRYPTOAUTHLIB
/*
 * Interface records of an ATECC on I2C and on the USB kit, with the chip library's defaults of this board. They may be
 * changed before tpm_init_device, which itself writes slave_address and bus of the I2C record and devtype of the one
 * it chooses.
 */
extern ATCAIfaceCfg tpm_iface_config_i2c;
extern ATCAIfaceCfg tpm_iface_config_hid;

/* The record in use: null until tpm_init_device has run on an ATECC, whatever the outcome. */
extern ATCAIfaceCfg *g_atca_iface_cfg;
#endif

/*
 * Stores TPM_CHIP_ATECC or TPM_CHIP_TRUSTX, running detection at the first call of the process. Status TPM_OK, or
 * TPM_ERR_ARGUMENT for a null type, without detection.
 */
int tpm_get_chip_type(int *type);

/*
 * Brings the ATECC up. Bus and address come from the device-tree properties tpm-i2c-bus and tpm-i2c-address under
 * /proc/device-tree (32-bit big-endian cells, last byte used; default bus 2, address 0x60; a property shorter than
 * four bytes counts as absent). The chip's configuration tells its model, with which the session is then opened.
 *
 * When tpm-use-usb holds a non-zero byte, the command "i2cget -y BUS ADDRESS 0x3 &>/dev/null" is run, and when it fails
 * the USB kit is used instead. This needs a /bin/sh that knows "&>", such as bash. Another one, such as dash, takes it
 * for "in the background": the command then always succeeds, so the kit is never chosen, and what i2cget has to say
 * goes to the caller's standard output and error.
 *
 *   TPM_OK                at once on a Trust X
 *   TPM_ERR_NOT_STARTED   the chip cannot be reached
 *
 * May be called again and then repeats everything.
 */
int tpm_init_device(void);

/*
 * Reads the ATECC's configuration zone, 128 bytes. Does not ask which chip is fitted. Status TPM_OK, TPM_ERR_CHIP or
 * TPM_ERR_ARGUMENT (null).
 */
int tpm_get_config_atecc(uint8_t *config);

/* ---- Secure element: slots -------------------------------------------------------------------------------------- */

/*
 * A slot is one of the ATECC's data slots 0 to 15 (36 bytes each in slots 0 to 7, 416 in slot 8, 72 in slots 9 to 15),
 * or a Trust X object identifier such as 0xE0E1, passed to the chip as it is; only its low 16 bits count. One call
 * moves at most 1024 bytes. Locking is permanent on both chips.
 *
 * Each function with a status may return TPM_ERR_CHIP, and TPM_ERR_ARGUMENT for a null pointer, before detection.
 */

/* A Trust X object: certificate objects carry flag 1, private-key objects flag 0. */
typedef struct {
    uint32_t object_id;
    uint32_t flag;
} tpm_trustx_slot;

/* The eight Trust X objects that tpm_slot_count counts: 0xE0E0 to 0xE0E3 and 0xE0F0 to 0xE0F3. */
extern const tpm_trustx_slot trustx_slots[8];

/* 8 on a Trust X, 16 on an ATECC. Not a status. */
int tpm_slot_count(void);

/*
 * Stores 1 when the configuration zone is locked, else 0; on a Trust X always 1, without touching the chip. A null
 * pointer is refused after detection here, and here alone.
 */
int tpm_is_config_locked(uint8_t *locked);

/* Stores 1 when the data zone is locked, else 0; on a Trust X always 0, without touching the chip. */
int tpm_is_data_locked(uint8_t *locked);

/* Stores 1 when the slot or object is locked, else 0. Nothing is stored unless TPM_OK. */
int tpm_is_slot_locked(uint16_t slot, uint8_t *locked);

/*
 * Reads a slot from its start. *len, which must not be null, is the capacity of data on entry and the number of bytes
 * delivered on success: at most the slot's size or the object's used length, cut to the capacity. On an ATECC slot 0
 * yields the 64-byte public key of the private key in it.
 *
 *   TPM_ERR_ARGUMENT   also for a capacity of 0
 *   TPM_ERR_BUFFER     the capacity is below 64 for ATECC slot 0
 *
 * Nothing is stored unless TPM_OK, but a failed read of ATECC slot 0 may leave bytes in data.
 */
int tpm_read_slot(unsigned int slot, uint8_t *data, size_t *len);

/*
 * Writes a slot from its start. Data beyond the ATECC slot's size or beyond 1024 bytes is dropped without an error. On
 * an ATECC the length is rounded up to a multiple of four with zero bytes and what lies behind keeps its content; on a
 * Trust X the object is erased first and written in pieces of 256 bytes, so a failure leaves it partly written.
 *
 *   TPM_ERR_ARGUMENT   also for a length of 0
 *   TPM_ERR_LOCKED     nothing was written
 */
int tpm_write_slot(unsigned int slot, const uint8_t *data, size_t len);

/* IRREVERSIBLE. Locks a slot; one that is locked already counts as success, without a command to the chip. */
int tpm_lock_slot(uint16_t slot);

/* ---- Secure element: keys and signatures ------------------------------------------------------------------------ */

/*
 * The device's private key is a P-256 key in ATECC slot 0 or Trust X key object 0xE0F1; it never leaves the chip.
 * Digests are SHA-256, 32 bytes. The functions whose names end in _atecc, and tpm_get_type, do not ask which chip is
 * fitted and do not test their pointers. Each function with a status may return TPM_ERR_CHIP.
 */

/*
 * Makes the device key and delivers its public key. A null pubkey is TPM_ERR_ARGUMENT, before detection.
 *
 * On an ATECC the first call makes the key and locks slot 0 for good; later calls deliver the same key's public key.
 * pubkey holds 64 bytes, pubkey_len is not used. When the lock fails the status is TPM_ERR_CHIP with the new key in
 * pubkey, and the next call makes another.
 *
 * On a Trust X every call makes a new key and stores its public key in object 0xF1D6. pubkey receives the 91-byte DER
 * SubjectPublicKeyInfo (RFC 5480) and must hold 23 + pubkey_len bytes; pubkey_len is at least 68. After a failure
 * pubkey may have been written and 0xE0F1 may hold a new key.
 */
int tpm_genkey(uint8_t *pubkey, uint16_t pubkey_len);

/* Stores a public key in an ATECC slot, in the chip library's form. TPM_ERR_LOCKED when the slot is locked. */
int tpm_write_public_key_atecc(uint16_t slot, const uint8_t *pubkey);

/* Signs a digest with the key in ATECC slot 0: 64 bytes in signature. */
int tpm_sign_atecc(const uint8_t *digest, uint8_t *signature);

/*
 * Checks a signature with a public key that tpm_write_public_key_atecc stored in the slot. The status says whether the
 * check could be made; the verdict is in *is_verified.
 */
int tpm_verify_with_stored_public_key_atecc(const uint8_t *digest, const uint8_t *signature, uint16_t slot,
                                            bool *is_verified);

/* The same with a public key that the caller has. */
int tpm_verify_with_ext_public_key_atecc(const uint8_t *digest, const uint8_t *signature, const uint8_t *pubkey,
                                         bool *is_verified);

/* TPM_MODEL_ATECC508A, TPM_MODEL_ATECC608A, or TPM_MODEL_UNKNOWN for anything else. Not a status. */
int tpm_get_type(void);

/* ---- Secure element: provisioning ------------------------------------------------------------------------------- */

/*
 * Configuration-zone image, laid out as the chips' data sheets define the zone: slot 0 holds the device key, slots 1 to
 * 15 plain data, each lockable by itself. tpm_init_config adjusts it in place to the model before it writes it, and the
 * adjustment stays.
 */
extern uint8_t tpm_config_data[128];

/*
 * IRREVERSIBLE. Provisions a blank ATECC: writes the configuration, locks the configuration zone, locks the data zone.
 * config is a 128-byte image used as it is, or null for tpm_config_data adjusted to the model.
 *
 *   TPM_OK          also for a chip that is fully locked and on a Trust X, where there is nothing to do, and for one
 *                   whose configuration is locked already, which only gets its data zone locked: config is not looked
 *                   at in any of these
 *   TPM_ERR_CHIP    a later call finishes the work
 *   TPM_ERR_MODEL   config is null and the model is unknown: nothing was written
 */
int tpm_init_config(const uint8_t *config);

/* ---- Certificates: storing, locking, exporting, verifying ------------------------------------------------------- */

/*
 * The chain is two certificates: the signer's, issued by a certificate authority, and the device's, issued by the
 * signer. Three schemes store it, chosen afresh at every call: on a Trust X whole, in two objects; on an ATECC by the
 * layout version in the serial number record, 1 for layout 1 (stored so that the chip alone gives the certificates
 * back), anything else for layout 0 (compressed, to be rebuilt over the PEM files, which must be kept).
 *
 * Certificates are X.509 (RFC 5280) with a P-256 key and an ecdsa-with-SHA256 signature (RFC 5758), at most 1024 bytes.
 * On layout 1 the to-be-signed part is at most 416 bytes for the signer and 360 for the device. On an ATECC the PEM
 * file itself is at most 1024 bytes. On a Trust X the signer's key has to stand where tpm_cert_verify looks for it.
 *
 * On an ATECC saving and verifying start the openssl command, as told under "Certificates: templates": it and the shell
 * write what they have to say to the caller's standard error.
 */

/* One storage scheme: its operations in the order of the entry points below, null where it has none. */
typedef struct {
    int (*save_signer_cert)(const char *path);
    int (*save_device_cert)(const char *path);
    int (*lock_signer_cert)(void);
    int (*lock_device_cert)(void);
    int (*export_signer_cert)(const char *path);
    int (*export_device_cert)(const char *path);
    int (*verify)(const uint8_t *ca_public_key, const char *const *cert_paths, uint8_t *is_verified);
} tpm_cert_api_t;

extern tpm_cert_api_t tpm_cert_api_impl_0;        /* ATECC, layout 0 */
extern tpm_cert_api_t tpm_cert_api_impl_1;        /* ATECC, layout 1 */
extern tpm_cert_api_t tpm_trustx_cert_api_impl_1; /* Trust X */

/* The table that the last certificate call of this process chose; null when it found none. */
extern tpm_cert_api_t *g_tpm_cert_api;

/* The table that applies now, or null when the layout version cannot be read. Sets nothing. */
tpm_cert_api_t *__get_tpm_cert_api(void);

/*
 * Each of the seven entry points below may return TPM_ERR_CHIP, and, before it does anything, TPM_ERR_NO_TABLE when no
 * table could be chosen and TPM_ERR_NO_OPERATION when the table lacks the operation.
 */

/*
 * Stores the certificate read from a PEM file. On layout 1 and on a Trust X whatever is wrong with the file is found
 * before anything is written; nothing is rolled back after a failure.
 *
 *   TPM_ERR_ARGUMENT    path is null
 *   TPM_ERR_CHIP        ATECC: also an unreadable file. Layout 0: also a locked slot. Layout 1: also a certificate
 *                       without a to-be-signed part or without a signature where an ECDSA certificate has it
 *   TPM_ERR_LOCKED      layout 1, Trust X: a locked slot or object
 *   TPM_ERR_PATH        layout 0 on the USB kit, where the DER bytes are also copied to the kit's EEPROM: path contains
 *                       neither "signercert.cert" nor "devcert.cert", which decides the entry. Nothing was written
 *   TPM_ERR_FILE        ATECC: a temporary file failed, or the certificate could not be taken apart. Trust X: an
 *                       unreadable file, or one of more than 1024 bytes of DER
 *   TPM_ERR_COMMAND     ATECC: the openssl command failed, as it does for what is not DER
 *   TPM_ERR_TOO_LARGE   layout 1: the to-be-signed part is too long
 */
int tpm_cert_save_signer_cert(const char *path);
int tpm_cert_save_device_cert(const char *path);

/*
 * IRREVERSIBLE. Locks what holds the certificate: ATECC layout 0 slots 11 and 10 or slot 9, layout 1 slots 8 and 10 or
 * slots 11 to 15 and 9, Trust X objects 0xE0E2 and 0xE0F2 or 0xE0E1 and 0xE0F1 (the device's private key: no new one
 * can be made). Stops at the first failure, with what was locked before it locked.
 */
int tpm_cert_lock_signer_cert(void);
int tpm_cert_lock_device_cert(void);

/*
 * Writes the stored certificate to a PEM file, created or replaced. Layout 0 has no export. Before any save, layout 1
 * makes a certificate of whatever the slots hold.
 *
 *   TPM_ERR_ARGUMENT      Trust X: path is null
 *   TPM_ERR_BUFFER        layout 1: the chip gave fewer bytes than a slot holds
 *   TPM_ERR_FILE          the file cannot be opened or written whole; layout 1: also for a null path; Trust X: also
 *                         when fewer than 2 bytes are stored
 *   TPM_ERR_CERTIFICATE   layout 1: the stored length is beyond what is stored, or the chip library cannot encode
 */
int tpm_cert_export_signer_cert(const char *path);
int tpm_cert_export_device_cert(const char *path);

/*
 * Checks the stored chain against the authority's 64-byte public key; on an ATECC the chip also proves, by signing a
 * challenge, that it holds the device certificate's private key. cert_paths names the two PEM files, signer first, and
 * is read by layout 0 only: null elsewhere.
 *
 * *is_verified becomes 1 when all of it holds; the status is TPM_OK then. TPM_ERR_ARGUMENT, TPM_ERR_NO_TABLE and
 * TPM_ERR_NO_OPERATION leave it alone. Else:
 *
 *   On an ATECC it is 0, and a chain that does not verify is TPM_OK. On layout 0 every certificate that cannot be
 *   rebuilt is TPM_ERR_CHIP. On layout 1 also TPM_ERR_BUFFER (the chip gave fewer bytes than a slot holds),
 *   TPM_ERR_FILE and TPM_ERR_COMMAND (the openssl command or its files) and TPM_ERR_CERTIFICATE (the stored length is
 *   beyond what is stored).
 *
 *   On a Trust X it is left alone, and a chain that does not verify is TPM_ERR_CERTIFICATE. That is also the status
 *   when the signer's key is not found: it is the 64 bytes behind the first 03 42 00 04 that begins at byte 160 to 176
 *   of the signer's to-be-signed part, counted from its tag as 0. In a version 3 certificate with UTCTime dates and a
 *   to-be-signed part of 256 bytes or more it stands there when the serial number's content and the issuer's and the
 *   subject's Name, these with tag and length, have 82 to 98 bytes together. Certificate and to-be-signed part must
 *   have one or two length bytes (128 bytes and more have), the signature's algorithm no parameters.
 */
int tpm_cert_verify(const uint8_t *ca_public_key, const char *const *cert_paths, uint8_t *is_verified);

/*
 * Has the ATECC sign a challenge with the private key in slot 0 and check the signature with the given 64-byte public
 * key; *is_verified is 1 when they belong together, else 0. The challenge comes from rand, seeded with the time: two in
 * the same second are equal, and the caller's own sequence is disturbed.
 *
 *   TPM_ERR_CHIP       *is_verified is 0
 *   TPM_ERR_ARGUMENT   an argument is null; *is_verified is left alone
 */
int __cert_challenge(const uint8_t *public_key, uint8_t *is_verified);

/* ---- Certificates: serial number -------------------------------------------------------------------------------- */

/*
 * The record, in ATECC slot 7 or Trust X object 0xF1D0, is 36 bytes: the serial number of 1 to 34 bytes, zero bytes up
 * to byte 34, and the certificate layout version in byte 35. Certificate requests carry the first 17 bytes. Each
 * function may return TPM_ERR_CHIP.
 */

/* Stores the layout version, byte 35 of the record. TPM_ERR_ARGUMENT for null. Nothing is stored unless TPM_OK. */
int tpm_cert_get_version(uint8_t *version);

/*
 * Writes a new record with these len bytes and layout version 1: on an ATECC with another layout, certificates stored
 * in that one are not found any more.
 *
 *   TPM_ERR_SERIAL_NUMBER   serial is null or len outside 1 to 34; the chip was not touched
 *   TPM_ERR_LOCKED          the record is locked
 */
int tpm_cert_set_serial_number(const uint8_t *serial, int len);

/*
 * Reads the first *len bytes of the record and puts a zero byte behind them. A *len above 34 becomes 35, so 36 bytes at
 * serial always suffice; otherwise it stays, and does not report the serial number's own length. After a failed read
 * serial holds zero bytes. TPM_ERR_ARGUMENT for a null serial or a *len below 1, with the chip and both untouched.
 */
int tpm_cert_get_serial_number(char *serial, int *len);

/* IRREVERSIBLE. Locks the record, serial number and layout version alike. */
int tpm_cert_lock_serial_number(void);

/* ---- Certificates: signing requests ----------------------------------------------------------------------------- */

/*
 * PKCS #10 requests (RFC 2986) for the device key: the serial number as commonName, always 17 bytes (cut, or filled up
 * with zero bytes), "Ostravel" as organizationName. Call the function of the fitted chip; neither asks which it is.
 *
 * Both create or replace the file only when the request is made, and do not check its being written: after TPM_OK read
 * it before relying on it.
 */

/*
 * Writes the ATECC's request to a PEM file.
 *
 *   TPM_ERR_CHIP       the serial number cannot be read, has no place in the template, or the chip fails
 *   TPM_ERR_ARGUMENT   path is null
 *   TPM_ERR_FILE       the file cannot be opened
 */
int tpm_cert_gencsr(const char *path);

/*
 * The request's template, and the chip library's description of it. Before each use tpm_cert_gencsr sets the serial
 * number's length (17) and slot (7) in the definition and writes the serial number into g_csr_template, at the offset
 * that the definition's element STDCERT_CERT_SN has. A template of the caller's own in cert_template gets none.
 */
extern uint8_t g_csr_template[237];
#ifndef OSTDRV_WITHOUT_CRYPTOAUTHLIB
extern atcacert_def_t g_csr_def;
#endif

/*
 * Writes the Trust X's request to a PEM file with LF line ends. It carries the public key that tpm_genkey stored in
 * object 0xF1D6 and is signed, in the chip, with key object 0xE0F1.
 *
 *   TPM_ERR_CHIP        the serial number cannot be read, the chip fails, 0xF1D6 does not hold 91 bytes (no key was
 *                       made yet), or the signature is longer than the 70 bytes that a P-256 key's can have
 *   TPM_ERR_ARGUMENT    path is null; the chip was not touched
 *   TPM_ERR_FILE        the file cannot be opened
 *   TPM_ERR_TOO_LARGE   the base64 encoder fails
 *
 * The session is closed in every case.
 */
int tpm_cert_gencsr_trustx(const char *path);

/*
 * What that request is put together from: the PEM lines around it, not NUL-terminated; the signed part with zero bytes
 * for commonName (at 19) and public key (at 80); the algorithm and signature with zero bytes for the signature (at 17).
 * They may be changed before a request, as long as everything keeps its place.
 */
extern char trustx_csr_header_template[36];
extern uint8_t trustx_csr_signable_template[148];
extern uint8_t trustx_csr_signature_template[87];
extern char trustx_csr_footer_template[35];

/* ---- Certificates: PEM and DER ---------------------------------------------------------------------------------- */

/*
 * Reads a PEM certificate with the ATECC library's decoder. *der_len is the capacity of der on entry and must be at
 * least the size of the PEM file, not of the DER in it; on success it is the DER length.
 *
 *   TPM_ERR_CHIP     the text does not decode
 *   TPM_ERR_BUFFER   the capacity is too small, or memory ran out
 *   TPM_ERR_PATH     path is null
 *   TPM_ERR_FILE     the file cannot be opened or read
 *
 * der and *der_len are untouched unless TPM_OK.
 */
int tpm_cert_read_cert_from_file(const char *path, uint8_t *der, size_t *der_len);

/*
 * The two functions below read and write PEM certificate files (RFC 7468) with the base64 functions of the Trust X
 * library. They touch no chip.
 */

/*
 * Writes len bytes of DER as a certificate file, created or replaced: header, lines of 64 characters, footer, each
 * ended by CR LF.
 *
 *   TPM_ERR_ARGUMENT    an argument is null, or len below 2
 *   TPM_ERR_BUFFER      memory ran out
 *   TPM_ERR_TOO_LARGE   the encoder fails
 *   TPM_ERR_FILE        the file cannot be opened, or not be written whole: a part of it stays then
 *
 * The file is touched only with TPM_OK and TPM_ERR_FILE.
 */
int tpm_octet_string_to_pem_file(const char *path, const uint8_t *data, size_t len);

/*
 * Reads the first certificate of a file into out. *out_len is the capacity of out on entry, at least 2, and the DER
 * length on success. The file must begin with the line "-----BEGIN CERTIFICATE-----"; behind it only the characters of
 * b64chars count, up to the next '-': line ends and blanks do not matter, and the footer is not looked at. What a file
 * grows by while it is read is not read.
 *
 *   TPM_ERR_ARGUMENT    path or out is null, or the capacity below 2
 *   TPM_ERR_BUFFER      memory ran out, or the certificate file has more than 1610612733 bytes, whose text could not be
 *                       counted in 32 bits
 *   TPM_ERR_FILE        the file cannot be opened or read, or begins otherwise
 *   TPM_ERR_TOO_LARGE   the text does not decode, or the capacity is too small
 *
 * *out_len is untouched unless TPM_OK, and so is out, but for what a failed decoding may leave in it.
 */
int tpm_pem_file_to_octet_string(const char *path, uint8_t *out, size_t *out_len);

/* The base64 alphabet of RFC 4648 and its padding character: what the function above keeps. NUL-terminated. */
extern const char b64chars[66];

/* ---- Certificates: templates ------------------------------------------------------------------------------------ */

/*
 * Both functions run "/usr/bin/openssl asn1parse" over the DER bytes and reseed rand with the time. The command and the
 * shell write their messages to the caller's standard error. Inputs are below 10000 bytes. In the command's listing
 * only a length below 1000 can be read, a longer one counts as 0: a to-be-signed part of 1000 bytes or more, which no
 * certificate of at most 1024 bytes has, is not measured.
 *
 * The bytes and the listing pass through two files in /tmp. Their names can be foreseen; what stands there before is
 * removed, be it a link, a file or an empty directory. Both files are removed in every case. What somebody else has put
 * in their place meanwhile stays; SECURITY.md says what that means.
 *
 *   TPM_ERR_FILE      what stands at one of the names cannot be removed, or a file not be made, written or opened
 *   TPM_ERR_COMMAND   the command fails, as it does for what is not DER
 */

#ifndef OSTDRV_WITHOUT_CRYPTOAUTHLIB
/*
 * Fills tbs_cert_loc and the public-key and signature entries of std_cert_elements from an X.509 certificate with a
 * P-256 key and an ECDSA signature; everything else in cert_def is left alone, and so is what was not found. A place
 * that would lie outside the certificate is refused with TPM_ERR_FILE, and nothing is filled.
 */
int tpm_cert_reconfig_atcacert_def(atcacert_def_t *cert_def, const uint8_t *der, size_t der_len);
#endif

/*
 * Copies the 64-byte P-256 public key out of a certificate or its to-be-signed part. Also TPM_OK, with public_key
 * untouched, when there is none, or none that lies inside the input.
 */
int tpm_get_pubkey_from_tbs(const uint8_t *der, size_t der_len, uint8_t *public_key);

#ifdef __cplusplus
}
#endif

#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#undef OSTDRV_PRINTF

#endif
