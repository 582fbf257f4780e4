// The C library's streams. They write and read through functions of the C library's own, behind the back of everything
// that stands in front of it; but they find these in a table, which is data. Here that table is made to name the
// board's, so that whatever a stream does, buffering, flushing, closing, its end at exit, stays the C library's.
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "core/fault_plan.hpp"
#include "device_paths.hpp"
#include "kernel.hpp"

namespace ostdrv::sim {
namespace {

// In the GNU C library's order, which is a part of its binary interface.
enum Place : std::size_t { read_place = 14, write_place = 15, status_place = 18, places = 21 };

ssize_t (*c_read)(FILE *, void *, ssize_t);
ssize_t (*c_write)(FILE *, const void *, ssize_t);
int (*c_status)(FILE *, struct stat *);

ssize_t read_stream(FILE *stream, void *buffer, ssize_t size) {
    const Caller caller = Caller::of_program();
    const auto count = read_attribute(caller, stream->_fileno, buffer, static_cast<std::size_t>(size));
    return count ? *count : c_read(stream, buffer, size);
}

ssize_t write_stream(FILE *stream, const void *bytes, ssize_t size) {
    const Caller caller = Caller::of_program();
    ssize_t written = 0;
    while (written < size) {
        const auto *const rest = static_cast<const char *>(bytes) + written;
        const auto count = write_attribute(caller, stream->_fileno, rest, static_cast<std::size_t>(size - written));
        if (!count) return c_write(stream, bytes, size);
        if (*count < 0) stream->_flags |= _IO_ERR_SEEN;
        if (*count <= 0) break;
        written += *count;
    }
    if (stream->_offset >= 0) stream->_offset += written;
    return written;
}

int status_of_stream(FILE *stream, struct stat *status) {
    const Unseen unseen;
    const int result = c_status(stream, status);
    if (result == 0) correct_status(device_path_of(stream->_fileno), *status);
    return result;
}

template <typename Function>
void replace(void *&place, Function *&original, Function *ours) {
    original = reinterpret_cast<Function *>(place);
    place = reinterpret_cast<void *>(ours);
}

// For bytes and for wide characters.
[[gnu::constructor]] void stand_in_streams() {
    for (const char *name : {"_IO_file_jumps", "_IO_wfile_jumps"}) {
        auto *const table = static_cast<void **>(dlsym(RTLD_DEFAULT, name));
        if (!table) continue;
        const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        const auto behind = reinterpret_cast<std::uintptr_t>(table) % page;
        void *const start = reinterpret_cast<char *>(table) - behind;
        const auto size = behind + places * sizeof *table;
        if (mprotect(start, size, PROT_READ | PROT_WRITE) != 0) continue;
        replace(table[read_place], c_read, read_stream);
        replace(table[write_place], c_write, write_stream);
        replace(table[status_place], c_status, status_of_stream);
        mprotect(start, size, PROT_READ);
    }
}

}  // namespace
}  // namespace ostdrv::sim
