// Owner of an open file descriptor.
#ifndef OSTDRV_SUPPORT_FILE_DESCRIPTOR_HPP
#define OSTDRV_SUPPORT_FILE_DESCRIPTOR_HPP

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace ostdrv {

class FileDescriptor {
 public:
    FileDescriptor(const char *path, int flags) : fd_(::open(path, flags | O_CLOEXEC)) {}
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    // Hands the descriptor to the caller, who closes it.
    int release() { return std::exchange(fd_, -1); }

 private:
    int fd_;
};

}  // namespace ostdrv

#endif
