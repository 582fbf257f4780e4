#include "files.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "error.hpp"
#include "support/owned.hpp"

namespace ostdrv::tool {
namespace {

using Stream = Owned<std::FILE *, std::fclose>;

constexpr std::size_t piece_size = 65536;
constexpr std::size_t memory_file_limit = 1 << 20;

bool is_standard_input(const std::string &path) { return path == "-" || path == "/dev/stdin"; }
bool is_standard_output(const std::string &path) { return path == "-" || path == "/dev/stdout"; }

std::string shown(const std::string &path) { return is_standard_input(path) ? "standard input" : path; }

std::FILE *open_for_reading(const std::string &path) {
    if (!is_standard_input(path)) return std::fopen(path.c_str(), "rbe");
    static bool taken = false;
    if (taken) throw BadUsage("standard input can be read for one file only");
    taken = true;
    return fdopen(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3), "rb");
}

// Takes pieces until one is not wanted.
void read_pieces(const std::string &path, const std::function<bool(const Bytes &piece)> &take) {
    const std::string name = shown(path);
    const Stream file(open_for_reading(path));
    if (!file) throw system_failure("cannot open " + name);
    Bytes piece(piece_size);
    do {
        piece.resize(std::fread(piece.data(), 1, piece_size, file.get()));
        if (std::ferror(file.get())) throw system_failure("cannot read " + name);
        if (!take(piece)) return;
    } while (piece.size() == piece_size);
}

struct stat status_of(const std::string &path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) status.st_mode = 0;
    return status;
}

void write_whole(std::FILE *opened, const std::string &name, const Bytes &bytes) {
    Stream file(opened);
    if (!file) throw system_failure("cannot open " + name);
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
                         std::fflush(file.get()) == 0 && (fsync(fileno(file.get())) == 0 || errno == EINVAL);
    if (!written) throw system_failure("cannot write " + name);
}

mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Where the file really is, when it is there already and the name is a link.
std::string link_target(const std::string &path) {
    const Owned<char *, std::free> target(realpath(path.c_str(), nullptr));
    return target ? std::string(target.get()) : path;
}

void replace_file(const std::string &path, const Bytes &bytes, const struct stat &old) {
    const bool is_new = old.st_mode == 0;
    if (!is_new && access(path.c_str(), W_OK) != 0) throw system_failure("cannot write " + path);
    const std::string target = link_target(path);
    std::string beside = target + ".XXXXXX";
    const int descriptor = mkostemp(beside.data(), O_CLOEXEC);
    if (descriptor < 0) throw system_failure("cannot create " + path);
    try {
        fchmod(descriptor, is_new ? new_file_mode() : old.st_mode & 07777);
        write_whole(fdopen(descriptor, "wb"), path, bytes);
        if (std::rename(beside.c_str(), target.c_str()) != 0) throw system_failure("cannot write " + path);
    } catch (const Error &) {
        unlink(beside.c_str());
        throw;
    }
}

}  // namespace

Bytes read_file(const std::string &path, std::size_t limit) {
    Bytes bytes;
    read_pieces(path, [&](const Bytes &piece) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
        return bytes.size() <= limit;
    });
    if (bytes.size() > limit)
        throw Failure(shown(path) + " is too long: at most " + std::to_string(limit) + " bytes are of use here");
    return bytes;
}

void read_in_pieces(const std::string &path, const std::function<void(const Bytes &piece)> &take) {
    if (S_ISCHR(status_of(path).st_mode) && !is_standard_input(path))
        throw Failure(path + " is a device, it has no end");
    read_pieces(path, [&take](const Bytes &piece) {
        take(piece);
        return true;
    });
}

void write_file(const std::string &path, const Bytes &bytes) {
    if (is_standard_output(path)) {
        // Whether it could be written is seen at the program's end.
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        return;
    }
    const struct stat old = status_of(path);
    if (old.st_mode == 0 || S_ISREG(old.st_mode)) return replace_file(path, bytes, old);
    write_whole(std::fopen(path.c_str(), "wbe"), path, bytes);
}

MemoryFile::MemoryFile(const Bytes &content) : descriptor_(memfd_create("ostdrv", MFD_CLOEXEC)) {
    if (descriptor_ < 0 || write(descriptor_, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        throw system_failure("cannot make a file in memory");
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

MemoryFile::~MemoryFile() { close(descriptor_); }

Bytes MemoryFile::content() const { return read_file(path_, memory_file_limit); }

}  // namespace ostdrv::tool
