/* Preloaded: files whose path ends in "protected" take every byte and keep what they hold; "slow" ones take long. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

ssize_t write(int descriptor, const void *bytes, size_t size) {
    char link[32], path[4096] = "";
    snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    if (readlink(link, path, sizeof path - 1) < 0) path[0] = '\0';
    if (strstr(path, "/protected")) return (ssize_t)size;
    if (strstr(path, "/slow")) usleep(700000);
    ssize_t (*next)(int, const void *, size_t) = NULL;
    *(void **)&next = dlsym(RTLD_NEXT, "write");
    return next(descriptor, bytes, size);
}
