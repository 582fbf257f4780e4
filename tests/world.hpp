// The world of one test: a fresh simulated board in a directory of its own, and the means to make calls fail and to
// see what a function left behind.
#ifndef OSTDRV_TESTS_WORLD_HPP
#define OSTDRV_TESTS_WORLD_HPP

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "attributes.hpp"
#include "board.hpp"
#include "core/fault_plan.hpp"
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

std::ostream &operator<<(std::ostream &out, const Remains &remains);

// Under a sanitizer the allocator is the sanitizer's, which finds leaks itself; kos_mem_alloc can fail everywhere.
inline constexpr bool allocations_can_fail = OSTDRV_ALLOCATIONS_CAN_FAIL;

using Calls = std::vector<std::string>;

// What stands below a directory, by path: a file's content, nothing for a directory.
using Files = std::map<std::string, std::optional<std::string>>;

class World : public testing::Test {
    TemporaryDirectory directory_;

 public:
    sim::Board board{directory_.path() + "/board"};

    // A file of the test's own.
    std::string path(const std::string &name) const { return directory_.path() + "/" + name; }
    std::string put(const std::string &name, const std::string &bytes) const;
    std::string get(const std::string &name) const;
    bool exists(const std::string &name) const;

    // The board and the test's own files, and the way back to them: only what differs is written.
    Files keep() const;
    void restore(const Files &kept) const;

    Remains remains() const;

    // The calls that an action makes.
    static Calls calls_of(const std::function<void()> &action);

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
