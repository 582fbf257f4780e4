// Owner of an open stream.
#ifndef OSTDRV_SUPPORT_STREAM_HPP
#define OSTDRV_SUPPORT_STREAM_HPP

#include <cstddef>
#include <cstdio>
#include <utility>

namespace ostdrv {

class Stream {
 public:
    // A null path is a file that cannot be opened.
    Stream(const char *path, const char *mode) : file_(path ? std::fopen(path, mode) : nullptr) {}
    ~Stream() { close(); }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    explicit operator bool() const { return file_ != nullptr; }
    std::FILE *get() const { return file_; }

    bool read(void *buffer, std::size_t size) { return std::fread(buffer, 1, size, file_) == size; }
    bool write(const void *bytes, std::size_t size) { return std::fwrite(bytes, 1, size, file_) == size; }
    // False when buffered bytes could not be written out.
    bool close() {
        std::FILE *const file = std::exchange(file_, nullptr);
        return !file || std::fclose(file) == 0;
    }

 private:
    std::FILE *file_;
};

}  // namespace ostdrv

#endif
