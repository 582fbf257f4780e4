// Owner of an open stream.
#ifndef OSTDRV_SUPPORT_STREAM_HPP
#define OSTDRV_SUPPORT_STREAM_HPP

#include <cstddef>
#include <cstdio>
#include <utility>

namespace ostdrv {

class Stream {
 public:
    Stream() = default;
    Stream(const char *path, const char *mode) { open(path, mode); }
    ~Stream() { close(); }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    // A null path is a file that cannot be opened.
    bool open(const char *path, const char *mode) {
        close();
        file_ = path ? std::fopen(path, mode) : nullptr;
        return file_ != nullptr;
    }
    explicit operator bool() const { return file_ != nullptr; }
    std::FILE *get() const { return file_; }

    bool read(void *buffer, std::size_t size) { return std::fread(buffer, 1, size, file_) == size; }
    bool write(const void *bytes, std::size_t size) { return std::fwrite(bytes, 1, size, file_) == size; }
    // The file's size, with the position back at its start; negative when it cannot be told.
    long size() {
        if (std::fseek(file_, 0, SEEK_END) != 0) return -1;
        const long end = std::ftell(file_);
        return std::fseek(file_, 0, SEEK_SET) == 0 ? end : -1;
    }
    // False when buffered bytes could not be written out.
    bool close() {
        std::FILE *const file = std::exchange(file_, nullptr);
        return !file || std::fclose(file) == 0;
    }

 private:
    std::FILE *file_ = nullptr;
};

}  // namespace ostdrv

#endif
