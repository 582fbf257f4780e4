#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/file_descriptor.hpp"

using ostdrv::FileDescriptor;
using ostdrv::write_decimal;

namespace {

constexpr unsigned int chunk_size = 4096;

bool seek_to(int fd, unsigned int offset) { return offset == 0 || lseek(fd, offset, SEEK_SET) != -1; }

void drop_last_newline(char *text, size_t limit) {
    const size_t length = strnlen(text, limit);
    if (length > 0 && text[length - 1] == '\n') text[length - 1] = '\0';
}

bool has_word(char *text, const char *word) {
    char *position = nullptr;
    for (char *found = strtok_r(text, " ", &position); found; found = strtok_r(nullptr, " ", &position))
        if (strcmp(found, word) == 0) return true;
    return false;
}

}  // namespace

int x_sysfs_exists(const char *path) { return access(path, F_OK) == 0 ? 0 : -1; }

int x_sysfs_size(const char *path, unsigned int *size) {
    struct stat status;
    if (stat(path, &status) != 0) return -1;
    *size = static_cast<unsigned int>(status.st_size);
    return 0;
}

int x_sysfs_read_int(const char *path, int *value) {
    // Opening leaves errno alone when it succeeds, and the caller's errno is what an empty file reports.
    const FileDescriptor file(path, O_RDONLY);
    if (!file) return -1;

    char text[17] = {};
    if (read(file.get(), text, sizeof text - 1) <= 0) return -errno;

    *value = static_cast<int>(strtol(text, nullptr, 10));
    return 0;
}

int x_sysfs_write_int(const char *path, int value) {
    const FileDescriptor file(path, O_RDWR);
    if (!file) return -1;

    errno = 0;
    return write_decimal(file.get(), value) ? 0 : -errno;
}

int x_sysfs_read_bytes(const char *path, void *buffer, unsigned int offset, unsigned int length) {
    const FileDescriptor file(path, O_RDONLY);
    if (!file || !seek_to(file.get(), offset)) return -1;

    char *const bytes = static_cast<char *>(buffer);
    for (unsigned int done = 0; done < length;) {
        const unsigned int wanted = std::min(length - done, chunk_size);
        const ssize_t count = read(file.get(), bytes + done, wanted);
        if (count <= 0) return -1;
        if (static_cast<unsigned int>(count) < wanted) {
            drop_last_newline(bytes, length);
            return 0;
        }
        done += wanted;
    }
    return 0;
}

int x_sysfs_write_bytes(const char *path, const void *data, unsigned int offset, unsigned int length) {
    const FileDescriptor file(path, O_RDWR);
    if (!file || !seek_to(file.get(), offset)) return -1;

    const char *const bytes = static_cast<const char *>(data);
    unsigned int done = 0;
    do {
        const unsigned int wanted = std::min(length - done, chunk_size);
        if (write(file.get(), bytes + done, wanted) != static_cast<ssize_t>(wanted)) return -1;
        done += wanted;
    } while (done < length);
    return 0;
}

int x_sysfs_contains(const char *path, const char *word) {
    // Only to see that it opens: the reading below opens it again. Both opens are promised, and a driver may count
    // them.
    const FileDescriptor opens(path, O_RDONLY);
    if (!opens) return -1;

    char text[257] = {};
    if (x_sysfs_read_bytes(path, text, 0, sizeof text - 1) != 0) return -1;
    return has_word(text, word) ? 1 : 0;
}
