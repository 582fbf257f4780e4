// The world of a fuzz target: one simulated board for all inputs, kept in memory where the machine has such a place.
#ifndef OSTDRV_FUZZ_WORLD_HPP
#define OSTDRV_FUZZ_WORLD_HPP

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>

#include "attributes.hpp"
#include "board.hpp"
#include "core/crypto.hpp"
#include "core/fault_plan.hpp"
#include "ostdrv.h"
#include "temporary_directory.hpp"

namespace ostdrv::fuzz {

using sim::Bytes;
using sim::ByteView;

// Ends the process, upon which libFuzzer keeps the input.
inline void expect(bool holds, const char *promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

// Memory of exactly the size announced, so that AddressSanitizer sees the first byte beyond it, and filled, so that it
// shows whether something was written.
class Output {
 public:
    explicit Output(std::size_t size) : bytes_(new std::uint8_t[size]), size_(size) {
        std::fill_n(bytes_.get(), size, std::uint8_t{0xA5});
    }
    std::uint8_t *data() { return bytes_.get(); }
    Bytes first(std::size_t count) const { return {bytes_.get(), bytes_.get() + count}; }
    bool is_untouched() const { return first(size_) == Bytes(size_, 0xA5); }

 private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_;
};

class World;

// Each target has its own: what is fitted before the first input, and what is done with each.
void fit(World &world);
void try_input(const World &world, ByteView input);

inline int numbers_drawn = 0;

class World {
    test::TemporaryDirectory directory_;

 public:
    sim::Board board{path("board")};

    World() {
        // What the library prints is not looked at.
        expect(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output can be thrown away");
        fit(*this);
    }
    std::string path(const std::string &name) const { return directory_.path() + "/" + name; }
    std::string put(const std::string &name, ByteView bytes) const {
        const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
        expect(sim::replace_content(path(name), text), "the input can be written");
        return path(name);
    }
    // From here on the openssl command is not run any more: its first run is taken to have written the first dump, its
    // second the second, and no room was made for them before.
    void answer_with_dumps(std::initializer_list<ByteView> dumps) const {
        // Each run draws a number for its input before the one for its output.
        int number = numbers_drawn = 0;
        for (const ByteView dump : dumps)
            put("board/fs/tmp/asn1decode.tmp." + std::to_string(++number), dump), ++number;
        sim::fault_plan::start();
        for (const char *const skipped : {"remove", "system"})
            sim::fault_plan::add({.name = skipped, .lasting = true, .has_result = true, .result = 0});
    }
};

inline std::ptrdiff_t open_descriptors() {
    const sim::Unseen unseen;
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace ostdrv::fuzz

// The numbers in the names of the library's temporary files.
extern "C" int rand() noexcept { return ostdrv::fuzz::numbers_drawn++; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace ostdrv::fuzz;
    static const World world;
    const auto before = open_descriptors();
    try_input(world, {data, size});
    expect(open_descriptors() == before, "no descriptor stays open");
    return 0;
}

#endif
