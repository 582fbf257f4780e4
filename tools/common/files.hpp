// Files that the user names. "-" is standard input or output. Failures name the file and the reason.
#ifndef OSTDRV_TOOLS_FILES_HPP
#define OSTDRV_TOOLS_FILES_HPP

#include <cstddef>
#include <functional>
#include <string>

#include "bytes.hpp"

namespace ostdrv::tool {

// Of a file that has at most `limit` bytes; a longer one is a Failure, also when it never ends.
Bytes read_file(const std::string &path, std::size_t limit);

// Hands over a file of any size piece by piece.
void read_in_pieces(const std::string &path, const std::function<void(const Bytes &piece)> &take);

// A file is replaced only when every byte is written, and one that could not be written is not left behind. Devices and
// pipes are written as they are.
void write_file(const std::string &path, const Bytes &bytes);

// A file without a name, for functions that want a path where the user may have given "-", or a file that must not be
// left half written.
class MemoryFile {
 public:
    explicit MemoryFile(const Bytes &content = {});
    ~MemoryFile();
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    const char *path() const { return path_.c_str(); }
    Bytes content() const;

 private:
    int descriptor_;
    std::string path_;
};

}  // namespace ostdrv::tool

#endif
