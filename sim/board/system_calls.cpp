// The C library calls that a simulated board stands in front of: each is logged or failed as the fault plan says, has
// the device's paths mapped to the board's, and is then carried out by the C library.
#include <dirent.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "attributes.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "edge_poll.hpp"
#include "i2c.hpp"
#include "real.hpp"
#include "shell.hpp"

// Defining the C library's names as its headers declare them, with their own parameter names.
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif

using ostdrv::sim::Call;
using ostdrv::sim::forget_reads;
using ostdrv::sim::open_flags;
using ostdrv::sim::open_mode;
using ostdrv::sim::PathArgument;
using ostdrv::sim::write_attribute;

namespace {

constexpr auto kind = ostdrv::sim::CallKind::system;

mode_t creation_mode(int flags, std::va_list args) {
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(args, mode_t) : 0;
}

int opened(int descriptor) {
    forget_reads(descriptor);
    return descriptor;
}

// How many of the bytes written a log line shows: all of them when they are a short text.
int shown(const void *bytes, std::size_t size) {
    const char *text = static_cast<const char *>(bytes);
    if (size > 32) return 0;
    for (std::size_t i = 0; i < size; ++i)
        if (!std::isprint(static_cast<unsigned char>(text[i]))) return 0;
    return static_cast<int>(size);
}

}  // namespace

extern "C" {

// Files and descriptors

int open(const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    Call call(kind, "open", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return opened(OSTDRV_REAL(open)(PathArgument(path), open_flags(path, flags), mode));
}

int open64(const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    return open(path, flags | O_LARGEFILE, mode);
}

int __open_2(const char *path, int flags) { return open(path, flags); }
int __open64_2(const char *path, int flags) { return open64(path, flags); }

int openat(int directory, const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    Call call(kind, "openat", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return opened(OSTDRV_REAL(openat)(directory, PathArgument(path), open_flags(path, flags), mode));
}

int openat64(int directory, const char *path, int flags, ...) {
    std::va_list args;
    va_start(args, flags);
    const mode_t mode = creation_mode(flags, args);
    va_end(args);
    return openat(directory, path, flags | O_LARGEFILE, mode);
}

int close(int descriptor) {
    Call call(kind, "close");
    forget_reads(descriptor);
    const int result = OSTDRV_REAL(close)(descriptor);
    return call.fails() ? static_cast<int>(call.result(-1)) : result;
}

ssize_t read(int descriptor, void *buffer, size_t size) {
    Call call(kind, "read", "%zu", size);
    if (call.fails()) return call.result(-1);
    if (!ostdrv::sim::admit_read(descriptor)) return -1;
    return OSTDRV_REAL(read)(descriptor, buffer, size);
}

ssize_t __read_chk(int descriptor, void *buffer, size_t size, size_t) { return read(descriptor, buffer, size); }

ssize_t write(int descriptor, const void *bytes, size_t size) {
    Call call(kind, "write", "%zu '%.*s'", size, shown(bytes, size), static_cast<const char *>(bytes));
    if (call.fails()) return call.result(-1);
    if (const auto result = write_attribute(descriptor, bytes, size)) return *result;
    return OSTDRV_REAL(write)(descriptor, bytes, size);
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    Call call(kind, "lseek", "%lld", static_cast<long long>(offset));
    if (call.fails()) return call.result(-1);
    return OSTDRV_REAL(lseek)(descriptor, offset, whence);
}

int access(const char *path, int mode) noexcept {
    Call call(kind, "access", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(access)(PathArgument(path), mode);
}

int stat(const char *path, struct stat *status) noexcept {
    Call call(kind, "stat", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(stat)(PathArgument(path), status);
}

int stat64(const char *path, struct stat64 *status) noexcept { return OSTDRV_REAL(stat64)(PathArgument(path), status); }

int lstat(const char *path, struct stat *status) noexcept { return OSTDRV_REAL(lstat)(PathArgument(path), status); }

int lstat64(const char *path, struct stat64 *status) noexcept {
    return OSTDRV_REAL(lstat64)(PathArgument(path), status);
}

int fstatat(int directory, const char *path, struct stat *status, int flags) noexcept {
    return OSTDRV_REAL(fstatat)(directory, PathArgument(path), status, flags);
}

int fstatat64(int directory, const char *path, struct stat64 *status, int flags) noexcept {
    return OSTDRV_REAL(fstatat64)(directory, PathArgument(path), status, flags);
}

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *status) noexcept {
    return OSTDRV_REAL(statx)(directory, PathArgument(path), flags, mask, status);
}

DIR *opendir(const char *path) { return OSTDRV_REAL(opendir)(PathArgument(path)); }

int remove(const char *path) noexcept {
    Call call(kind, "remove", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(remove)(PathArgument(path));
}

int unlink(const char *path) noexcept {
    Call call(kind, "unlink", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(unlink)(PathArgument(path));
}

int poll(struct pollfd *watches, nfds_t count, int timeout) {
    Call call(kind, "poll", "%lu, %d", static_cast<unsigned long>(count), timeout);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return ostdrv::sim::poll_edges(watches, count, timeout);
}

int __poll_chk(struct pollfd *watches, nfds_t count, int timeout, size_t) { return poll(watches, count, timeout); }

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    std::va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    Call call(kind, "ioctl", "0x%lx", request);
    if (call.fails()) return static_cast<int>(call.result(-1));
    if (request == I2C_RDWR) {
        const std::string bus = ostdrv::sim::device_path_of(descriptor);
        if (!bus.empty()) return ostdrv::sim::i2c_transfer(bus, *static_cast<i2c_rdwr_ioctl_data *>(argument));
    }
    return OSTDRV_REAL(ioctl)(descriptor, request, argument);
}

// Streams

FILE *fopen(const char *path, const char *mode) {
    Call call(kind, "fopen", "%s, %s", path, mode);
    if (call.fails()) return nullptr;
    FILE *stream = OSTDRV_REAL(fopen)(PathArgument(path), open_mode(path, mode).c_str());
    if (stream) forget_reads(fileno(stream));
    return stream;
}

FILE *fopen64(const char *path, const char *mode) { return fopen(path, mode); }

int fclose(FILE *stream) {
    Call call(kind, "fclose");
    const int result = OSTDRV_REAL(fclose)(stream);
    return call.fails() ? static_cast<int>(call.result(EOF)) : result;
}

size_t fread(void *buffer, size_t size, size_t count, FILE *stream) {
    Call call(kind, "fread", "%zu", size * count);
    if (call.fails()) return static_cast<size_t>(call.result(0));
    return OSTDRV_REAL(fread)(buffer, size, count, stream);
}

size_t __fread_chk(void *buffer, size_t, size_t size, size_t count, FILE *stream) {
    return fread(buffer, size, count, stream);
}

size_t fwrite(const void *bytes, size_t size, size_t count, FILE *stream) {
    Call call(kind, "fwrite", "%zu '%.*s'", size * count, shown(bytes, size * count), static_cast<const char *>(bytes));
    if (call.fails()) return static_cast<size_t>(call.result(0));
    if (const auto result = write_attribute(fileno(stream), bytes, size * count)) return *result < 0 ? 0 : count;
    return OSTDRV_REAL(fwrite)(bytes, size, count, stream);
}

char *fgets(char *line, int size, FILE *stream) {
    Call call(kind, "fgets", "%d", size);
    if (call.fails()) return nullptr;
    return OSTDRV_REAL(fgets)(line, size, stream);
}

char *__fgets_chk(char *line, size_t, int size, FILE *stream) { return fgets(line, size, stream); }

int fseek(FILE *stream, long offset, int whence) {
    Call call(kind, "fseek", "%ld", offset);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(fseek)(stream, offset, whence);
}

long ftell(FILE *stream) {
    Call call(kind, "ftell");
    if (call.fails()) return call.result(-1);
    return OSTDRV_REAL(ftell)(stream);
}

// Commands and time

int system(const char *command) {
    Call call(kind, "system", "%s", command ? command : "");
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(system)(command ? ostdrv::sim::host_command(command).c_str() : nullptr);
}

FILE *popen(const char *command, const char *mode) {
    Call call(kind, "popen", "%s", command);
    if (call.fails()) return nullptr;
    return OSTDRV_REAL(popen)(ostdrv::sim::host_command(command).c_str(), mode);
}

int pclose(FILE *stream) {
    Call call(kind, "pclose");
    const int result = OSTDRV_REAL(pclose)(stream);
    return call.fails() ? static_cast<int>(call.result(-1)) : result;
}

int usleep(useconds_t microseconds) {
    Call call(kind, "usleep", "%u", microseconds);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(usleep)(microseconds);
}

unsigned sleep(unsigned seconds) {
    Call call(kind, "sleep", "%u", seconds);
    if (call.fails()) return static_cast<unsigned>(call.result(seconds));
    return OSTDRV_REAL(sleep)(seconds);
}

// A sleep that is made to fail has not begun.
int nanosleep(const timespec *time, timespec *rest) {
    Call call(kind, "nanosleep", "%ld.%09ld", static_cast<long>(time->tv_sec), time->tv_nsec);
    if (!call.fails()) return OSTDRV_REAL(nanosleep)(time, rest);
    if (rest) *rest = *time;
    return static_cast<int>(call.result(-1));
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *rest) {
    Call call(kind, "clock_nanosleep", "%d, %d, %ld.%09ld", clock, flags, static_cast<long>(time->tv_sec),
              time->tv_nsec);
    if (!call.fails()) return OSTDRV_REAL(clock_nanosleep)(clock, flags, time, rest);
    if (rest && flags == 0) *rest = *time;
    return static_cast<int>(call.result(errno));
}

}  // extern "C"
