/* Key/value settings store of the platform, kept in one region that the caller reads and writes for it. */
#ifndef KSET_H
#define KSET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int (*kset_read_fn)(void *buffer, unsigned int length);
typedef int (*kset_write_fn)(const void *buffer, unsigned int length);

int kset_init(unsigned int count, unsigned int size, int reserved, kset_read_fn read, kset_write_fn write);
int kset_add_int(int id, const char *name, int minimum, int maximum, int default_value);
int kset_add_hex(int id, const char *name, int length, const uint8_t *default_value);
int kset_add_string(int id, const char *name, int length, const char *default_value);
int kset_read(void);
int kset_write(void);
int kset_get_int(int id);
const uint8_t *kset_get_hex(int id);
const char *kset_get_string(int id);
int kset_set_int(int id, int value);
int kset_set_hex(int id, const uint8_t *value);
int kset_set_string(int id, const char *value);
void kset_shutdown(void);

#ifdef __cplusplus
}
#endif

#endif
