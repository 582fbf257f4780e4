// A directory of its own for a test or a bench, gone at the end of the scope.
#ifndef OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP
#define OSTDRV_TESTS_TEMPORARY_DIRECTORY_HPP

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace ostdrv::test {

class TemporaryDirectory {
 public:
    TemporaryDirectory() {
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
    std::string path_ = "/tmp/ostdrv-test.XXXXXX";
};

}  // namespace ostdrv::test

#endif
