// A directory of its own for a test, a bench or a fuzz target, gone at the end of the scope.
#ifndef OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP
#define OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace ostdrv::test {

class TemporaryDirectory {
 public:
    explicit TemporaryDirectory(const std::string &below = "/tmp") : path_(below + "/ostdrv-test.XXXXXX") {
        if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary directory");
    }
    ~TemporaryDirectory() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    const std::string &path() const { return path_; }

 private:
    std::string path_;
};

}  // namespace ostdrv::test

#endif
