#include <cerrno>
#include <climits>

#include "world.hpp"

namespace ostdrv::test {
namespace {

using Sysfs = World;
using Calls = std::vector<std::string>;

TEST_F(Sysfs, ReadIntTakesTheLeadingNumberOfSixteenBytes) {
    const struct {
        const char *text;
        int value;
    } cases[] = {{"42\n", 42},
                 {"abc", 0},
                 {"-7", -7},
                 {"  +9 rest", 9},
                 {"\n", 0},
                 {"12x4", 12},
                 {"00000000000000012345", 1},
                 {"4294967298\n", 2},
                 {"-2147483648", INT_MIN}};
    for (const auto &c : cases) {
        int value = -99;
        EXPECT_EQ(x_sysfs_read_int(put("attribute", c.text).c_str(), &value), 0) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

TEST_F(Sysfs, ReadIntReportsWhyNothingWasRead) {
    int value = -99;
    EXPECT_EQ(x_sysfs_read_int(path("missing").c_str(), &value), -1);

    const std::string empty = put("empty", "");
    errno = 0;
    EXPECT_EQ(x_sysfs_read_int(empty.c_str(), &value), 0);
    errno = ENOENT;
    EXPECT_EQ(x_sysfs_read_int(empty.c_str(), &value), -ENOENT);

    const auto read = [&] { return x_sysfs_read_int(put("number", "1").c_str(), &value); };
    EXPECT_EQ(with_fault({.name = "read", .error = ENODEV}, read), -ENODEV);
    EXPECT_EQ(value, -99);
}

TEST_F(Sysfs, WriteIntWritesExactlyTheDecimalText) {
    const std::string file = put("attribute", "");
    for (const auto &[value, text] : {std::pair{-5, "-5"}, {0, "0"}, {INT_MIN, "-2147483648"}}) {
        put("attribute", "");
        EXPECT_EQ(x_sysfs_write_int(file.c_str(), value), 0);
        EXPECT_EQ(get("attribute"), text);
    }
    EXPECT_EQ(x_sysfs_write_int(path("missing").c_str(), 1), -1);
    EXPECT_FALSE(exists("missing"));

    const auto write = [&] { return x_sysfs_write_int(file.c_str(), 123); };
    errno = ENOENT;
    EXPECT_EQ(with_fault({.name = "write", .has_result = true, .result = 2, .error = 0}, write), 0) << "short write";
    EXPECT_EQ(with_fault({.name = "write", .error = ENOSPC}, write), -ENOSPC);
}

TEST_F(Sysfs, ReadBytesStopsAtAShortChunkAndDropsOneNewlineThere) {
    const std::string page(4096, 'p');
    const struct {
        const char *what;
        std::string content;
        unsigned offset, length;
        int status;
        std::string buffer;  // beyond it the buffer keeps its zeros
    } cases[] = {{"text", "1\n", 0, 16, 0, "1"},
                 {"only one newline goes", "1\n\n", 0, 16, 0, "1\n"},
                 {"whole length keeps its newline", "ab\n", 0, 3, 0, "ab\n"},
                 {"offset", "0123456789", 4, 3, 0, "456"},
                 {"text ends at the first NUL", std::string("a\n\0b\n", 5), 0, 16, 0, std::string("a\0\0b\n", 5)},
                 {"first byte NUL", std::string("\0b\n", 3), 0, 16, 0, std::string("\0b\n", 3)},
                 {"empty", "", 0, 16, -1, ""},
                 {"nothing asked", "", 0, 0, 0, ""},
                 {"ends at a chunk's border", page, 0, 8192, -1, page},
                 {"second chunk short", page + "xy\n", 0, 8192, 0, page + "xy"},
                 {"offset beyond the end", "abc", 10, 4, -1, ""}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::string buffer(8200, '\0');
        EXPECT_EQ(x_sysfs_read_bytes(put("attribute", c.content).c_str(), buffer.data(), c.offset, c.length), c.status);
        EXPECT_EQ(buffer, c.buffer + std::string(8200 - c.buffer.size(), '\0'));
    }
}

TEST_F(Sysfs, TransfersAreChunkedAndSeekOnlyForAnOffset) {
    const std::string file = put("attribute", std::string(20000, 'a'));
    const std::string data(10000, 'b');
    std::string buffer(10000, '\0');

    EXPECT_EQ(
        calls_of([&] { x_sysfs_write_bytes(file.c_str(), data.data(), 256, 10000); }),
        (Calls{"open(" + file + ")", "lseek(256)", "write(4096 '')", "write(4096 '')", "write(1808 '')", "close()"}));
    EXPECT_EQ(get("attribute").substr(255, 10002), "a" + data + "a");
    EXPECT_EQ(calls_of([&] { x_sysfs_read_bytes(file.c_str(), buffer.data(), 0, 10000); }),
              (Calls{"open(" + file + ")", "read(4096)", "read(4096)", "read(1808)", "close()"}));
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(x_sysfs_write_bytes(file.c_str(), nullptr, 0, 0), 0); }),
              (Calls{"open(" + file + ")", "write(0 '')", "close()"}));

    sim::fault_plan::start();
    sim::fault_plan::add({.name = "write", .nth = 2, .has_result = true, .result = 4095});
    EXPECT_EQ(x_sysfs_write_bytes(file.c_str(), data.data(), 0, 10000), -1);
    sim::fault_plan::stop();
    EXPECT_EQ(sim::fault_plan::log().size(), 4u) << "no third chunk after a short one";
}

TEST_F(Sysfs, ContainsComparesWholeBlankSeparatedWords) {
    const std::string edges = "none rising falling both\n";
    const std::string long_text = std::string(253, 'x') + " yes";  // 257 bytes: the last word is cut to "ye"
    const struct {
        std::string text;
        const char *word;
        int result;
    } cases[] = {{edges, "both", 1},
                 {edges, "bot", 0},
                 {edges, "none\n", 0},
                 {edges, "Rising", 0},
                 {"\n", "x", 0},
                 {"   ", "x", 0},
                 {"  a   b ", "b", 1},
                 {"a\tb", "b", 0},
                 {"a\tb", "a\tb", 1},
                 {"", "x", -1},
                 {long_text, "ye", 1},
                 {long_text, "yes", 0},
                 {std::string("a\0b", 3), "b", 0}};
    for (const auto &c : cases)
        EXPECT_EQ(x_sysfs_contains(put("attribute", c.text).c_str(), c.word), c.result) << c.text << " / " << c.word;
    EXPECT_EQ(x_sysfs_contains(path("missing").c_str(), "x"), -1);
}

TEST_F(Sysfs, SizeAndExistenceComeFromTheFileSystem) {
    unsigned int size = 7;
    EXPECT_EQ(x_sysfs_size(path("missing").c_str(), &size), -1);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(x_sysfs_exists(path("missing").c_str()), -1);
    std::filesystem::create_symlink(put("attribute", "12345"), path("link"));
    EXPECT_EQ(x_sysfs_size(path("link").c_str(), &size), 0);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(x_sysfs_exists(path("link").c_str()), 0);
}

TEST_F(Sysfs, EveryFailingSystemCallIsReportedAndLeavesNothingOpen) {
    const std::string file = put("attribute", std::string(5000, 'a'));
    std::string buffer(5000, '\0');
    const std::function<int()> actions[] = {
        [&] { return x_sysfs_read_bytes(file.c_str(), buffer.data(), 1, 4999); },
        [&] { return x_sysfs_write_bytes(file.c_str(), buffer.data(), 1, 4999); },
        [&] { return x_sysfs_contains(file.c_str(), "a"); },
    };
    for (const auto &action : actions) {
        const std::size_t calls = calls_of(action).size();
        const Remains before = remains();
        for (std::size_t nth = 1; nth <= calls; ++nth) {
            const int status = with_fault({.nth = nth}, action);
            if (sim::fault_plan::log()[nth - 1] != "close()") {
                EXPECT_EQ(status, -1) << sim::fault_plan::log()[nth - 1];
            }
            EXPECT_EQ(remains(), before);
        }
    }
}

}  // namespace
}  // namespace ostdrv::test
