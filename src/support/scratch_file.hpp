// A temporary file that is gone at the end of the scope.
#ifndef OSTDRV_SUPPORT_SCRATCH_FILE_HPP
#define OSTDRV_SUPPORT_SCRATCH_FILE_HPP

#include <cstdio>
#include <cstdlib>

namespace ostdrv {

class ScratchFile {
 public:
    // Names the file after the next number of rand; it need not exist yet.
    explicit ScratchFile(const char *base) { std::snprintf(path_, sizeof path_, "%s.%d", base, std::rand()); }
    ~ScratchFile() { remove(); }
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;

    const char *path() const { return path_; }
    // From now on there is a file to remove.
    void created() { exists_ = true; }
    void remove() {
        if (exists_) std::remove(path_);
        exists_ = false;
    }

 private:
    char path_[256];
    bool exists_ = false;
};

}  // namespace ostdrv

#endif
