#include <sys/resource.h>

#include <cerrno>
#include <climits>

#include "world.hpp"

namespace ostdrv::test {
namespace {

using Sysfs = World;
using Calls = std::vector<std::string>;

TEST_F(Sysfs, ReadIntTakesTheLeadingNumberOfSixteenBytesOrSaysWhyNot) {
    const std::pair<const char *, int> cases[] = {{"42\n", 42},
                                                  {"abc", 0},
                                                  {"-7", -7},
                                                  {"  +9 rest", 9},
                                                  {"00000000000000012345", 1},
                                                  {"4294967298\n", 2},
                                                  {"-2147483648", INT_MIN}};
    int value = -99;
    for (const auto &[text, number] : cases) {
        EXPECT_EQ(x_sysfs_read_int(put("attribute", text).c_str(), &value), 0) << text;
        EXPECT_EQ(value, number) << text;
    }
    value = -99;
    EXPECT_EQ(x_sysfs_read_int(path("missing").c_str(), &value), -1);
    const std::string empty = put("empty", "");
    for (const int error : {0, ENOENT}) {
        errno = error;
        EXPECT_EQ(x_sysfs_read_int(empty.c_str(), &value), -error);
    }
    const auto read = [&] { return x_sysfs_read_int(empty.c_str(), &value); };
    EXPECT_EQ(with_fault({.name = "read", .error = ENODEV}, read), -ENODEV);
    EXPECT_EQ(value, -99);
}

TEST_F(Sysfs, WriteIntWritesExactlyTheDecimalText) {
    for (const auto &[value, text] : {std::pair{-5, "-5"}, {0, "0"}, {INT_MIN, "-2147483648"}}) {
        EXPECT_EQ(x_sysfs_write_int(put("attribute", "").c_str(), value), 0);
        EXPECT_EQ(get("attribute"), text);
    }
    EXPECT_EQ(x_sysfs_write_int(path("missing").c_str(), 1), -1);
    EXPECT_FALSE(exists("missing"));

    const auto write = [&] { return x_sysfs_write_int(path("attribute").c_str(), 123); };
    rlimit whole, two_bytes;
    getrlimit(RLIMIT_FSIZE, &whole);
    two_bytes = {2, whole.rlim_max};
    setrlimit(RLIMIT_FSIZE, &two_bytes);
    errno = ENOENT;
    const int short_write = write();
    setrlimit(RLIMIT_FSIZE, &whole);
    EXPECT_EQ(short_write, 0) << "an error from before is not this one's";
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
    } cases[] = {{"only one newline goes", "1\n\n", 0, 16, 0, "1\n"},
                 {"whole length keeps its newline", "ab\n", 0, 3, 0, "ab\n"},
                 {"offset", "0123456789", 4, 3, 0, "456"},
                 {"text ends at the first NUL", std::string("a\n\0b\n", 5), 0, 16, 0, std::string("a\0\0b\n", 5)},
                 {"first byte NUL", std::string("\0b\n", 3), 0, 16, 0, std::string("\0b\n", 3)},
                 {"empty", "", 0, 16, -1, ""},
                 {"nothing asked", "", 0, 0, 0, ""},
                 {"ends at a chunk's border", page, 0, 8192, -1, page},
                 {"second chunk short", page + "xy\n", 0, 8192, 0, page + "xy"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::string buffer(8200, '\0');
        EXPECT_EQ(x_sysfs_read_bytes(put("attribute", c.content).c_str(), buffer.data(), c.offset, c.length), c.status);
        EXPECT_EQ(buffer, c.buffer + std::string(8200 - c.buffer.size(), '\0'));
    }
}

TEST_F(Sysfs, TransfersAreChunkedAndSeekOnlyForAnOffset) {
    const std::string file = put("attribute", std::string(20000, 'a')), open = "open(" + file + ")";
    const std::string data(10000, 'b');
    std::string buffer(10000, '\0');

    EXPECT_EQ(calls_of([&] { x_sysfs_write_bytes(file.c_str(), data.data(), 256, 10000); }),
              (Calls{open, "lseek(256)", "write(4096 '')", "write(4096 '')", "write(1808 '')", "close()"}));
    EXPECT_EQ(get("attribute").substr(255, 10002), "a" + data + "a");
    EXPECT_EQ(calls_of([&] { x_sysfs_read_bytes(file.c_str(), buffer.data(), 0, 10000); }),
              (Calls{open, "read(4096)", "read(4096)", "read(1808)", "close()"}));
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(x_sysfs_write_bytes(file.c_str(), nullptr, 0, 0), 0); }),
              (Calls{open, "write(0 '')", "close()"}));

    const auto write = [&] { return x_sysfs_write_bytes(file.c_str(), data.data(), 0, 10000); };
    EXPECT_EQ(with_fault({.name = "write", .nth = 2, .has_result = true, .result = 4095}, write), -1);
    EXPECT_EQ(sim::fault_plan::log().size(), 4u) << "no third chunk after a short one";
}

TEST_F(Sysfs, ContainsComparesWholeBlankSeparatedWords) {
    const std::string edges = "none rising falling both\n";
    const std::string long_text = std::string(253, 'x') + " yes";  // 257 bytes: the last word is cut to "ye"
    const struct {
        std::string text;
        const char *word;
        int result;
    } cases[] = {{edges, "both", 1},  {edges, "bot", 0},   {edges, "Rising", 0}, {"  a   b ", "b", 1},
                 {"a\tb", "b", 0},    {"", "x", -1},       {long_text, "ye", 1}, {long_text, "yes", 0},
                 {"a\tb", "a\tb", 1}, {edges, "none\n", 0}};
    for (const auto &c : cases)
        EXPECT_EQ(x_sysfs_contains(put("attribute", c.text).c_str(), c.word), c.result) << c.text << " / " << c.word;
}

TEST_F(Sysfs, SizeAndExistenceComeFromTheFileSystem) {
    unsigned int size = 7;
    std::filesystem::create_symlink(path("attribute"), path("link"));
    for (const int status : {-1, 0}) {
        EXPECT_EQ(x_sysfs_size(path("link").c_str(), &size), status);
        EXPECT_EQ(x_sysfs_exists(path("link").c_str()), status);
        EXPECT_EQ(size, status ? 7u : 5u);
        put("attribute", "12345");
    }
}

}  // namespace
}  // namespace ostdrv::test
