// Owner of an open file descriptor.
#ifndef OSTDRV_SUPPORT_FILE_DESCRIPTOR_HPP
#define OSTDRV_SUPPORT_FILE_DESCRIPTOR_HPP

#include <fcntl.h>
#include <unistd.h>

#include "support/owned.hpp"

namespace ostdrv {

struct FileDescriptor : Owned<int, ::close, -1> {
    FileDescriptor(const char *path, int flags) : Owned(::open(path, flags | O_CLOEXEC)) {}
};

}  // namespace ostdrv

#endif
