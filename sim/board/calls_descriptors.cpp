// Calls on open files, and open itself.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "calls.hpp"
#include "edge_wait.hpp"
#include "i2c.hpp"
#include "open_files.hpp"

using namespace ostdrv::sim;

namespace {

mode_t creation_mode(int flags, std::va_list args) {
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(args, mode_t) : 0;
}

// Pieces are one text to the kernel.
std::optional<ssize_t> write_pieces(const Caller &caller, int descriptor, const iovec *pieces, int count,
                                    off_t position = where_it_stands) {
    if (count <= 0 || device_path_of(descriptor).empty()) return std::nullopt;
    std::string bytes;
    for (const iovec *piece = pieces; piece != pieces + count; ++piece)
        bytes.append(static_cast<const char *>(piece->iov_base), piece->iov_len);
    return write_attribute(caller, descriptor, bytes.data(), bytes.size(), position);
}

// Copies inside the kernel, which it does not make from or to attributes.
bool copies(const Caller &caller, int from, int to) {
    return caller.nested() || (device_path_of(from).empty() && device_path_of(to).empty());
}

}  // namespace

int ostdrv::sim::opened(int descriptor) {
    forget_file(descriptor);
    return descriptor;
}

void ostdrv::sim::closed(int descriptor) {
    forget_file(descriptor);
    leave_epoll(descriptor);
}

extern "C" {

int open(const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    Call call(kind, "open", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    const PathArgument mapped(path);
    const auto admitted = admitted_flags(call.caller(), mapped, flags);
    return admitted ? opened(OSTDRV_REAL(open)(mapped, *admitted, mode)) : -1;
}

OSTDRV_ALSO_64(open)
int __open_2(const char *path, int flags) { return open(path, flags); }
int __open64_2(const char *path, int flags) { return open64(path, flags); }

int openat(int directory, const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    Call call(kind, "openat", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    const PathArgument mapped(path, directory);
    const auto admitted = admitted_flags(call.caller(), mapped, flags);
    return admitted ? opened(OSTDRV_REAL(openat)(directory, mapped, *admitted, mode)) : -1;
}

OSTDRV_ALSO_64(openat)

int creat(const char *path, mode_t mode) { return open(path, O_WRONLY | O_CREAT | O_TRUNC, mode); }
OSTDRV_ALSO_64(creat)

int close(int descriptor) {
    Call call(kind, "close");
    if (!call.caller().nested()) closed(descriptor);
    const int result = OSTDRV_REAL(close)(descriptor);
    return call.fails() ? static_cast<int>(call.result(-1)) : result;
}

ssize_t read(int descriptor, void *buffer, size_t size) {
    Call call(kind, "read", "%zu", size);
    if (call.fails()) return call.result(-1);
    if (const auto count = read_attribute(call.caller(), descriptor, buffer, size)) return *count;
    return OSTDRV_REAL(read)(descriptor, buffer, size);
}

ssize_t pread(int descriptor, void *buffer, size_t size, off_t position) {
    const Caller caller;
    if (const auto count = read_attribute(caller, descriptor, buffer, size, position)) return *count;
    return OSTDRV_REAL(pread)(descriptor, buffer, size, position);
}
OSTDRV_ALSO_64(pread)

ssize_t readv(int descriptor, const struct iovec *pieces, int count) {
    const Caller caller;
    const bool any = count > 0;
    if (const auto result =
            read_attribute(caller, descriptor, any ? pieces->iov_base : nullptr, any ? pieces->iov_len : 0))
        return *result;
    return OSTDRV_REAL(readv)(descriptor, pieces, count);
}
ssize_t __read_chk(int descriptor, void *buffer, size_t size, size_t) { return read(descriptor, buffer, size); }

ssize_t write(int descriptor, const void *bytes, size_t size) {
    Call call(kind, "write", "%zu '%.*s'", size, shown(bytes, size), static_cast<const char *>(bytes));
    if (call.fails()) return call.result(-1);
    if (const auto count = write_attribute(call.caller(), descriptor, bytes, size)) return *count;
    return OSTDRV_REAL(write)(descriptor, bytes, size);
}

ssize_t pwrite(int descriptor, const void *bytes, size_t size, off_t position) {
    const Caller caller;
    if (const auto count = write_attribute(caller, descriptor, bytes, size, position)) return *count;
    return OSTDRV_REAL(pwrite)(descriptor, bytes, size, position);
}
OSTDRV_ALSO_64(pwrite)

ssize_t writev(int descriptor, const struct iovec *pieces, int count) {
    const Caller caller;
    if (const auto result = write_pieces(caller, descriptor, pieces, count)) return *result;
    return OSTDRV_REAL(writev)(descriptor, pieces, count);
}

ssize_t pwritev(int descriptor, const struct iovec *pieces, int count, off_t position) {
    const Caller caller;
    if (const auto result = write_pieces(caller, descriptor, pieces, count, position)) return *result;
    return OSTDRV_REAL(pwritev)(descriptor, pieces, count, position);
}
OSTDRV_ALSO_64(pwritev)

ssize_t copy_file_range(int from, off_t *from_position, int to, off_t *to_position, size_t size, unsigned flags) {
    const Caller caller;
    if (copies(caller, from, to))
        return OSTDRV_REAL(copy_file_range)(from, from_position, to, to_position, size, flags);
    errno = EXDEV;
    return -1;
}

ssize_t sendfile(int to, int from, off_t *position, size_t size) noexcept {
    const Caller caller;
    if (copies(caller, from, to)) return OSTDRV_REAL(sendfile)(to, from, position, size);
    errno = EINVAL;
    return -1;
}
OSTDRV_ALSO_64(sendfile)

off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    Call call(kind, "lseek", "%lld", static_cast<long long>(offset));
    if (call.fails()) return call.result(-1);
    const bool from_its_end = whence == SEEK_END && keeps_its_length(call.caller(), device_path_of(descriptor));
    struct stat status;
    if (!from_its_end || OSTDRV_REAL(fstat)(descriptor, &status) != 0)
        return OSTDRV_REAL(lseek)(descriptor, offset, whence);
    correct_status(device_path_of(descriptor), status);
    return OSTDRV_REAL(lseek)(descriptor, status.st_size + offset, SEEK_SET);
}
OSTDRV_ALSO_64(lseek)

int ftruncate(int descriptor, off_t size) noexcept {
    const Caller caller;
    if (!keeps_its_length(caller, device_path_of(descriptor))) return OSTDRV_REAL(ftruncate)(descriptor, size);
    if ((fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY) return 0;
    errno = EINVAL;
    return -1;
}
OSTDRV_ALSO_64(ftruncate)

int truncate(const char *path, off_t size) noexcept {
    const Caller caller;
    const PathArgument mapped(path);
    if (access(mapped, F_OK) == 0 && keeps_its_length(caller, mapped.device_path())) return 0;
    return OSTDRV_REAL(truncate)(mapped, size);
}
OSTDRV_ALSO_64(truncate)

int dup(int descriptor) noexcept {
    const Caller caller;
    return share_file(descriptor, OSTDRV_REAL(dup)(descriptor));
}

int dup2(int descriptor, int duplicate) noexcept {
    const Caller caller;
    return share_file(descriptor, OSTDRV_REAL(dup2)(descriptor, duplicate));
}

int dup3(int descriptor, int duplicate, int flags) noexcept {
    const Caller caller;
    return share_file(descriptor, OSTDRV_REAL(dup3)(descriptor, duplicate, flags));
}

int fcntl(int descriptor, int command, ...) {
    std::va_list args;
    va_start(args, command);
    void *const argument = va_arg(args, void *);
    va_end(args);
    const Caller caller;
    const int result = OSTDRV_REAL(fcntl)(descriptor, command, argument);
    const bool duplicates = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
    return duplicates ? share_file(descriptor, result) : result;
}
OSTDRV_ALSO_64(fcntl)

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    std::va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    Call call(kind, "ioctl", "0x%lx", request);
    if (call.fails()) return static_cast<int>(call.result(-1));
    if (const std::string path = device_path_of(descriptor); path.starts_with("/dev/i2c-"))
        return i2c_control(path, open_file(descriptor).i2c_address, request, argument);
    return OSTDRV_REAL(ioctl)(descriptor, request, argument);
}

}  // extern "C"
