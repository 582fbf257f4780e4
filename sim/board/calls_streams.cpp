// Calls on streams, as far as they open, are counted, or go a road of their own.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "calls.hpp"

using namespace ostdrv::sim;

namespace {

int open_flags(const char *mode) {
    const int access = std::strchr(mode, '+') ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
    const int making = *mode == 'r' ? 0 : *mode == 'a' ? O_CREAT | O_APPEND : O_CREAT | O_TRUNC;
    return access | making | (std::strchr(mode, 'x') ? O_EXCL : 0) | (std::strchr(mode, 'e') ? O_CLOEXEC : 0);
}

}  // namespace

extern "C" {

FILE *fopen(const char *path, const char *mode) {
    Call call(kind, "fopen", "%s, %s", path, mode);
    if (call.fails()) return nullptr;
    const PathArgument mapped(path);
    if (call.caller().nested() || mapped.device_path().empty()) return OSTDRV_REAL(fopen)(mapped, mode);
    const auto flags = admitted_flags(call.caller(), mapped, open_flags(mode));
    const int descriptor = flags ? opened(OSTDRV_REAL(open)(mapped, *flags, 0666)) : -1;
    return descriptor < 0 ? nullptr : OSTDRV_REAL(fdopen)(descriptor, mode);
}
OSTDRV_ALSO_64(fopen)

// Standard streams are reopened under their old descriptors, so the C library has to open.
FILE *freopen(const char *path, const char *mode, FILE *stream) {
    const Caller caller;
    const PathArgument mapped(path);
    const auto flags = path ? admitted_flags(caller, mapped, open_flags(mode)) : 0;
    const bool is_attribute = flags && !(*flags & O_CREAT) && *mode == 'w';
    const bool closes = std::strchr(mode, 'e') != nullptr;
    const char *const kept = closes ? "r+e" : "r+";
    if (flags) return OSTDRV_REAL(freopen)(mapped, is_attribute ? kept : mode, stream);
    const int error = errno;
    fclose(stream);
    errno = error;
    return nullptr;
}
OSTDRV_ALSO_64(freopen)

// The C library writes the text of these by a road of its own.
int vdprintf(int descriptor, const char *format, std::va_list args) {
    const Caller caller;
    if (device_path_of(descriptor).empty()) return OSTDRV_REAL(vdprintf)(descriptor, format, args);
    char *text = nullptr;
    const int length = vasprintf(&text, format, args);
    if (length <= 0) return length;
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    const auto size = static_cast<std::size_t>(length);
    const auto count = write_attribute(caller, descriptor, text, size);
    return (count ? *count : OSTDRV_REAL(write)(descriptor, text, size)) < 0 ? -1 : length;
}

int dprintf(int descriptor, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    const int length = vdprintf(descriptor, format, args);
    va_end(args);
    return length;
}

[[gnu::format(printf, 3, 0)]] int __vdprintf_chk(int descriptor, int, const char *format, std::va_list args) {
    return vdprintf(descriptor, format, args);
}

[[gnu::format(printf, 3, 4)]] int __dprintf_chk(int descriptor, int, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    const int length = vdprintf(descriptor, format, args);
    va_end(args);
    return length;
}

int fclose(FILE *stream) {
    Call call(kind, "fclose");
    if (!call.caller().nested()) closed(fileno(stream));
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

}  // extern "C"
