// A directory of its own for a test, a bench or a fuzz target, gone at the end of the scope: in memory where the
// machine has such a place, or below TMPDIR, for whoever wants to see what a crash has left.
#ifndef OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP
#define OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP

#include <fcntl.h>
#include <ftw.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace ostdrv::test {

class TemporaryDirectory {
    // Programs are put there too, and containers forbid to run any from /dev/shm.
    static std::string place() {
        if (const char *chosen = std::getenv("TMPDIR")) return chosen;
        struct statvfs memory;
        return statvfs("/dev/shm", &memory) == 0 && !(memory.f_flag & ST_NOEXEC) ? "/dev/shm" : "/tmp";
    }

 public:
    TemporaryDirectory() {
        if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary directory");
    }
    // Past a board in front of the C library, which lets nobody remove attributes.
    ~TemporaryDirectory() {
        nftw(
            path_.c_str(),
            [](const char *entry, const struct stat *, int kind, FTW *) {
                return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, entry, kind == FTW_DP ? AT_REMOVEDIR : 0));
            },
            16, FTW_DEPTH | FTW_PHYS);
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    const std::string &path() const { return path_; }

 private:
    std::string path_ = place() + "/ostdrv-test.XXXXXX";
};

}  // namespace ostdrv::test

#endif
