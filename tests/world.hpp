// The world of one test: a fresh simulated board in a directory of its own, and the means to make calls fail and to
// see what a function left behind.
#ifndef OSTDRV_TESTS_WORLD_HPP
#define OSTDRV_TESTS_WORLD_HPP

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "attributes.hpp"
#include "board.hpp"
#include "core/fault_plan.hpp"
#include "core/live_blocks.hpp"
#include "ostdrv.h"
#include "temporary_directory.hpp"

namespace ostdrv::test {

// What a call may leave behind: open descriptors, allocated blocks, temporary files.
struct Remains {
    std::size_t descriptors;
    std::size_t blocks;
    std::size_t temporary_files;
    bool operator==(const Remains &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Remains &r) {
    return out << r.descriptors << " descriptors, " << r.blocks << " blocks, " << r.temporary_files << " files";
}

// Under a sanitizer the allocator is the sanitizer's, which finds leaks itself; kos_mem_alloc can fail everywhere.
inline constexpr bool allocations_can_fail = OSTDRV_ALLOCATIONS_CAN_FAIL;

using Calls = std::vector<std::string>;

// What stands below a directory, by path: a file's content, nothing for a directory.
using Files = std::map<std::string, std::optional<std::string>>;

class World : public testing::Test {
    TemporaryDirectory directory_;

 public:
    sim::Board board{directory_.path() + "/board"};

    // A path for a file of the test's own.
    std::string path(const std::string &name) const { return directory_.path() + "/" + name; }
    std::string put(const std::string &name, const std::string &bytes) const {
        sim::Unseen unseen;
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string get(const std::string &name) const {
        sim::Unseen unseen;
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    bool exists(const std::string &name) const {
        sim::Unseen unseen;
        return std::filesystem::exists(path(name));
    }

    // The board and the test's own files, and the way back to them: only what differs is written.
    Files keep() const {
        sim::Unseen unseen;
        Files files;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
            std::optional<std::string> &content = files[entry.path()];
            if (!entry.is_directory()) content = sim::content_of(entry.path());
        }
        return files;
    }
    void restore(const Files &kept) const {
        sim::Unseen unseen;
        const Files now = keep();
        for (const auto &[name, content] : now)
            if (!kept.contains(name)) std::filesystem::remove_all(name);
        for (const auto &[name, content] : kept) {
            const auto found = now.find(name);
            if (found != now.end() && found->second == content) continue;
            content ? void(std::ofstream(name, std::ios::binary) << *content)
                    : void(std::filesystem::create_directory(name));
        }
    }

    Remains remains() const {
        sim::Unseen unseen;
        const auto count = [](const std::filesystem::path &where) {
            const std::filesystem::directory_iterator entries(where);
            return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
        };
        return {count("/proc/self/fd"), sim::live_blocks(), count(board.root() / "fs/tmp")};
    }

    // The calls that an action makes.
    static Calls calls_of(const std::function<void()> &action) {
        sim::fault_plan::start();
        action();
        sim::fault_plan::stop();
        return sim::fault_plan::log();
    }

    // What an action returns when its nth call of `name` fails.
    template <typename Action>
    static auto with_fault(sim::Fault fault, Action action) {
        sim::fault_plan::start();
        sim::fault_plan::add(std::move(fault));
        auto result = action();
        sim::fault_plan::stop();
        return result;
    }
};

}  // namespace ostdrv::test

#endif
