// Calls on paths.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "calls.hpp"

using namespace ostdrv::sim;

namespace {

// Without a path, the descriptor itself is meant.
template <typename Status>
int corrected(const Caller &caller, int result, int directory, const char *path, Status *status) {
    if (result == 0 && !caller.nested())
        correct_status(path && *path ? device_path_of(directory, path) : device_path_of(directory), *status);
    return result;
}

// The same under two names.
struct stat *same(struct stat64 *status) {
    static_assert(sizeof(struct stat) == sizeof(struct stat64));
    return reinterpret_cast<struct stat *>(status);
}

}  // namespace

extern "C" {

int access(const char *path, int mode) noexcept {
    Call call(kind, "access", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(access)(PathArgument(path), mode);
}

int faccessat(int directory, const char *path, int mode, int flags) noexcept {
    const Caller caller;
    return OSTDRV_REAL(faccessat)(directory, PathArgument(path), mode, flags);
}

int fstatat(int directory, const char *path, struct stat *status, int flags) noexcept {
    const Caller caller;
    const PathArgument mapped(path, directory);
    return corrected(caller, OSTDRV_REAL(fstatat)(directory, mapped, status, flags), directory, mapped, status);
}
int fstatat64(int directory, const char *path, struct stat64 *status, int flags) noexcept {
    return fstatat(directory, path, same(status), flags);
}

int stat(const char *path, struct stat *status) noexcept {
    Call call(kind, "stat", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    const PathArgument mapped(path);
    return corrected(call.caller(), OSTDRV_REAL(stat)(mapped, status), AT_FDCWD, mapped, status);
}
int stat64(const char *path, struct stat64 *status) noexcept { return fstatat64(AT_FDCWD, path, status, 0); }

int lstat(const char *path, struct stat *status) noexcept {
    return fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
int lstat64(const char *path, struct stat64 *status) noexcept { return lstat(path, same(status)); }

int fstat(int descriptor, struct stat *status) noexcept {
    const Caller caller;
    return corrected(caller, OSTDRV_REAL(fstat)(descriptor, status), descriptor, nullptr, status);
}
int fstat64(int descriptor, struct stat64 *status) noexcept { return fstat(descriptor, same(status)); }

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *status) noexcept {
    const Caller caller;
    const PathArgument mapped(path, directory);
    return corrected(caller, OSTDRV_REAL(statx)(directory, mapped, flags, mask, status), directory, mapped, status);
}

int chdir(const char *path) noexcept {
    const Caller caller;
    return OSTDRV_REAL(chdir)(PathArgument(path));
}

DIR *opendir(const char *path) { return OSTDRV_REAL(opendir)(PathArgument(path)); }

int remove(const char *path) noexcept {
    Call call(kind, "remove", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    const PathArgument mapped(path);
    return refuses_change(call.caller(), mapped) ? -1 : OSTDRV_REAL(remove)(mapped);
}

int unlink(const char *path) noexcept {
    Call call(kind, "unlink", "%s", path);
    if (call.fails()) return static_cast<int>(call.result(-1));
    const PathArgument mapped(path);
    return refuses_change(call.caller(), mapped) ? -1 : OSTDRV_REAL(unlink)(mapped);
}

int unlinkat(int directory, const char *path, int flags) noexcept {
    const Caller caller;
    const PathArgument mapped(path, directory);
    return refuses_change(caller, mapped) ? -1 : OSTDRV_REAL(unlinkat)(directory, mapped, flags);
}

int rmdir(const char *path) noexcept { return unlinkat(AT_FDCWD, path, AT_REMOVEDIR); }

int renameat2(int from_directory, const char *from, int to_directory, const char *to, unsigned flags) noexcept {
    const Caller caller;
    const PathArgument mapped_from(from, from_directory), mapped_to(to, to_directory);
    if (refuses_change(caller, mapped_from) || refuses_change(caller, mapped_to)) return -1;
    return OSTDRV_REAL(renameat2)(from_directory, mapped_from, to_directory, mapped_to, flags);
}
int renameat(int from_directory, const char *from, int to_directory, const char *to) noexcept {
    return renameat2(from_directory, from, to_directory, to, 0);
}
int rename(const char *from, const char *to) noexcept { return renameat(AT_FDCWD, from, AT_FDCWD, to); }

}  // extern "C"
