// A temporary file of the library's own, at a name that anybody can foresee in a directory that is open to all.
#ifndef OSTDRV_CERTIFICATES_SCRATCH_FILE_HPP
#define OSTDRV_CERTIFICATES_SCRATCH_FILE_HPP

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "support/owned.hpp"

namespace ostdrv {

// Links, directories and other users' files have been put there by somebody else meanwhile, and stay.
inline void unlink_own_file(const char *path) {
    struct stat status;
    if (::lstat(path, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid()) ::unlink(path);
}

class ScratchFile {
 public:
    // Names the file after the next number of rand.
    explicit ScratchFile(const char *base) { std::snprintf(path_, sizeof path_, "%s.%d", base, std::rand()); }

    const char *path() const { return path_; }
    // Removes what stands at the name, which would be followed or overwritten. False when it cannot be removed.
    bool clear() const { return std::remove(path_) == 0 || errno == ENOENT; }
    // From now on there is a file to remove, here or at the end of the scope.
    void created() { file_.reset(path_); }
    void remove() { file_.reset(); }

 private:
    char path_[256];
    Owned<const char *, unlink_own_file> file_;
};

}  // namespace ostdrv

#endif
