// Owner of an open stream.
#ifndef OSTDRV_SUPPORT_STREAM_HPP
#define OSTDRV_SUPPORT_STREAM_HPP

#include <cstddef>
#include <cstdio>

#include "support/owned.hpp"

namespace ostdrv {

struct Stream : Owned<std::FILE *, std::fclose> {
    // A null path is a file that cannot be opened.
    Stream(const char *path, const char *mode) : Owned(path ? std::fopen(path, mode) : nullptr) {}

    bool read(void *buffer, std::size_t size) { return std::fread(buffer, 1, size, get()) == size; }
    bool write(const void *bytes, std::size_t size) { return std::fwrite(bytes, 1, size, get()) == size; }
    // The file's size, with the position back at its start; negative when it cannot be told.
    long size() {
        if (std::fseek(get(), 0, SEEK_END) != 0) return -1;
        const long end = std::ftell(get());
        return std::fseek(get(), 0, SEEK_SET) == 0 ? end : -1;
    }
    // False when buffered bytes could not be written out.
    bool close() {
        std::FILE *const file = release();
        return !file || std::fclose(file) == 0;
    }
    // Makes these bytes the end of the file. False when it is not open or they did not reach it whole.
    bool write_and_close(const void *bytes, std::size_t size) {
        const bool whole = get() && write(bytes, size);
        return close() && whole;
    }
};

}  // namespace ostdrv

#endif
