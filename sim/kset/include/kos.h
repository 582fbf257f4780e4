/* Memory allocator of the platform. */
#ifndef KOS_H
#define KOS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A block of at least size bytes aligned for any object, or null. A size of 0 gives a block that may be freed. */
void *kos_mem_alloc(size_t size);
void kos_mem_free(void *memory);

#ifdef __cplusplus
}
#endif

#endif
