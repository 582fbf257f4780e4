// The world of a fuzz target: one simulated board for all inputs, kept in memory where the machine has such a place,
// and what every input has to leave as it was.
#ifndef OSTDRV_FUZZ_WORLD_HPP
#define OSTDRV_FUZZ_WORLD_HPP

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "attributes.hpp"
#include "board.hpp"
#include "core/fault_plan.hpp"
#include "ostdrv.h"
#include "temporary_directory.hpp"

namespace ostdrv::fuzz {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline std::string_view as_text(ByteView bytes) { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }

inline bool begins_with(ByteView bytes, ByteView start) {
    return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

// Ends the process, upon which libFuzzer keeps the input.
inline void expect(bool holds, const char *promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

// Memory of exactly the size announced, so that AddressSanitizer sees the first byte beyond it, and filled, so that it
// shows what was written.
class Output {
 public:
    explicit Output(std::size_t size, std::uint8_t filling = 0xA5)
        : bytes_(new std::uint8_t[size]), size_(size), filling_(filling) {
        std::fill_n(bytes_.get(), size, filling);
    }
    std::uint8_t *data() { return bytes_.get(); }
    ByteView first(std::size_t count) const { return ByteView(bytes_.get(), size_).first(count); }
    bool is_untouched(std::size_t from = 0) const {
        return std::all_of(bytes_.get() + from, bytes_.get() + size_,
                           [&](std::uint8_t byte) { return byte == filling_; });
    }

 private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_;
    std::uint8_t filling_;
};

// For the duration of an input: every descriptor that it opens has to be closed at its end.
class NothingLeftOpen {
 public:
    NothingLeftOpen() = default;
    ~NothingLeftOpen() { expect(open_descriptors() == before_, "no descriptor stays open"); }
    NothingLeftOpen(const NothingLeftOpen &) = delete;
    NothingLeftOpen &operator=(const NothingLeftOpen &) = delete;

 private:
    // Of the low ones, which are given out first. Quicker than a look into /proc/self/fd.
    static std::bitset<32> open_descriptors() {
        std::bitset<32> open;
        for (std::size_t fd = 0; fd < open.size(); ++fd) open[fd] = fcntl(static_cast<int>(fd), F_GETFD) != -1;
        return open;
    }
    std::bitset<32> before_ = open_descriptors();
};

class World {
    // TMPDIR, for whoever wants to see what is left after a finding.
    static std::string place() {
        if (const char *chosen = std::getenv("TMPDIR")) return chosen;
        return std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    }

    test::TemporaryDirectory directory_{place()};

 public:
    sim::Board board{directory_.path() + "/board"};

    explicit World(const sim::BoardDescription &description) {
        board.fit(description);
        // What the library prints is not looked at.
        expect(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output can be thrown away");
    }

    std::string path(const std::string &name) const { return directory_.path() + "/" + name; }
    std::string put(const std::string &name, ByteView bytes) const {
        expect(sim::replace_content(path(name), as_text(bytes)), "the input can be written");
        return path(name);
    }
};

}  // namespace ostdrv::fuzz

#endif
