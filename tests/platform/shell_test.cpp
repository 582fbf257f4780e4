#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdarg>
#include <cstdlib>
#include <thread>

#include "world.hpp"

namespace ostdrv::test {
namespace {

using Calls = std::vector<std::string>;

class Shell : public World {
 public:
    // What the runner would run, as its echo shows it; nothing is run.
    std::string command_of(const std::function<void()> &action) const {
        setenv("X_SHELL_DEBUG", "", 1);
        testing::internal::CaptureStdout();
        sim::fault_plan::start();
        for (const char *call : {"system", "popen"})
            sim::fault_plan::add({.name = call, .lasting = true, .has_result = true, .result = 77});
        action();
        sim::fault_plan::stop();
        unsetenv("X_SHELL_DEBUG");
        return testing::internal::GetCapturedStdout();
    }
    static std::string output_of(const std::function<void()> &action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }
    // A pgrep of the test's own, first on the path.
    void put_pgrep(const std::string &script) const {
        put("pgrep", "#!/bin/sh\n" + script);
        chmod(path("pgrep").c_str(), 0755);
        setenv("PATH", (path("") + ":/usr/bin:/bin").c_str(), 1);
    }
};

[[gnu::format(printf, 2, 3)]] int run(const char *suffix, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int status = x_shell(suffix, format, args);
    va_end(args);
    return status;
}

TEST_F(Shell, CommandsAreCutToTheirLimits) {
    const std::string quiet = ") > /dev/null 2>&1", background = quiet + " &", errors = " 2>&1";
    const auto exec = [](const char *text) { EXPECT_EQ(x_shell_exec("%s", text), 77); };
    const auto in_background = [](const char *text) { EXPECT_EQ(x_shell_exec_background("%s", text), 77); };
    const auto piped = [](const char *text) { EXPECT_EQ(x_shell_popen("%s", text), nullptr); };
    const struct {
        std::function<void(const char *)> call;
        size_t given, kept;
        std::string before, after;
    } cases[] = {{exec, 5, 5, "(", quiet},
                 {exec, 0, 0, "(", quiet},
                 {exec, 1005, 1005, "(", quiet},
                 {exec, 1006, 1005, "(", quiet},
                 {exec, 9000, 1005, "(", quiet},
                 {in_background, 1003, 1003, "(", background},
                 {in_background, 1004, 1003, "(", background},
                 {piped, 1018, 1018, "", errors},
                 {piped, 1019, 1018, "", errors}};
    for (const auto &c : cases) {
        const std::string text(c.given, 'x');
        const std::string echo = c.before.empty() ? "Shell popen command: '" : "Shell command: '";
        EXPECT_EQ(command_of([&] { c.call(text.c_str()); }),
                  echo + c.before + std::string(c.kept, 'x') + c.after + "'\n");
    }
}

TEST_F(Shell, SuffixesFitUpTo1023Characters) {
    const std::string longest = ")" + std::string(1022, ' ');
    EXPECT_EQ(command_of([&] { EXPECT_EQ(run(longest.c_str(), "%s", "lost"), 77); }),
              "Shell command: '(" + longest + "'\n");
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(run((longest + " ").c_str(), "true"), -1); }), Calls{});
}

TEST_F(Shell, FormatsThatCannotBeFilledInRunNothing) {
    const wchar_t no_character[] = {0x7fffffff, 0};
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(x_shell_exec("touch %ls", no_character), -1);
                  EXPECT_EQ(x_shell_popen("touch %ls", no_character), nullptr);
              }),
              Calls{});
}

TEST_F(Shell, StatusIsTheShellsAndOutputIsThrownAway) {
    EXPECT_EQ(output_of([] {
                  EXPECT_EQ(WEXITSTATUS(x_shell_exec("echo a; echo b >&2; exit %d", 3)), 3);
                  EXPECT_EQ(x_shell_exec("true"), 0);
                  EXPECT_EQ(WEXITSTATUS(run(")", "echo kept; exit 4")), 4);
              }),
              "kept\n");
    EXPECT_EQ(with_fault({.name = "system"}, [] { return x_shell_exec("true"); }), -1);
}

TEST_F(Shell, EchoIsDecidedAtEachCallAndComesBeforeTheCommand) {
    EXPECT_EQ(output_of([] {
                  run(")", "echo silent");
                  setenv("X_SHELL_DEBUG", "0", 1);
                  run(")", "echo %s", "loud");
                  unsetenv("X_SHELL_DEBUG");
                  run(")", "echo silent");
              }),
              "silent\nShell command: '(echo loud)'\nloud\nsilent\n");
}

TEST_F(Shell, BackgroundCommandsOutliveTheCall) {
    EXPECT_EQ(x_shell_exec_background("while [ ! -e '%s' ]; do sleep 0.01; done; echo x > '%s'", path("go").c_str(),
                                      path("done").c_str()),
              0);
    EXPECT_FALSE(exists("done"));
    put("go", "");
    while (get("done") != "x\n") std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

TEST_F(Shell, PipesCarryOutputAndErrors) {
    const Remains before = remains();
    FILE *stream = x_shell_popen("cat '%s' '%s'", put("there", "text\n").c_str(), path("missing").c_str());
    ASSERT_TRUE(stream);
    char line[512];
    EXPECT_STREQ(fgets(line, sizeof line, stream), "text\n");
    EXPECT_TRUE(fgets(line, sizeof line, stream));
    EXPECT_NE(std::string(line).find("No such file"), std::string::npos) << line;
    EXPECT_EQ(WEXITSTATUS(pclose(stream)), 1);
    EXPECT_EQ(remains(), before);
}

TEST_F(Shell, PidIsTheNumberOnTheLastLineThatHasOne) {
    const struct {
        const char *lines;
        int pid;
    } cases[] = {{"", -1},
                 {"12 name\n", 12},
                 {"12 name\n340 name\n", 340},
                 {"12 name\n340 pgrep\n", 12},
                 {"12 name\nname 340\n\n", 12},
                 {"  7 name", 7},
                 {"no number\n", -1}};
    put_pgrep("cat \"$(dirname \"$0\")/lines\"\n");
    const Remains before = remains();
    for (const auto &c : cases) {
        put("lines", c.lines);
        EXPECT_EQ(x_shell_get_process_pid("name"), c.pid) << c.lines;
    }
    EXPECT_EQ(with_fault({.name = "popen"}, [] { return x_shell_get_process_pid("name"); }), -1);
    EXPECT_EQ(remains(), before);
}

TEST_F(Shell, NamesAreQuotedAndHaveAtMost243Characters) {
    const auto query = [](const std::string &name) {
        return calls_of([&] { EXPECT_EQ(x_shell_get_process_pid(name.c_str()), -1); });
    };
    const std::string longest(243, 'n');
    EXPECT_EQ(query(longest), (Calls{"popen(pgrep -xl \"" + longest + "\")", "fgets(256)", "pclose()"}));
    EXPECT_EQ(query(longest + "n"), Calls{});
}

TEST_F(Shell, WaitAsksAtOnceAndThenEveryQuarterOfASecond) {
    // Answers with the name from the third query on, or up to the second.
    const std::string count = "n=$(cat \"$0.n\" 2>/dev/null); n=$((n + 1)); echo $n > \"$0.n\"; ";
    const struct {
        std::string pgrep;
        int state;
        std::ptrdiff_t queries, sleeps;
    } cases[] = {{"exit 1", 0, 1, 0},
                 {"echo 5 name", 1, 1, 0},
                 {count + "[ $n -ge 3 ] && echo 5 name", 1, 3, 2},
                 {count + "[ $n -ge 3 ] || echo 5 name", 0, 3, 2},
                 {"echo 5 name", 2, 0, 0},
                 {"exit 1", -1, 0, 0}};
    for (const auto &c : cases) {
        std::filesystem::remove(path("pgrep.n"));
        put_pgrep(c.pgrep + "\n");
        sim::fault_plan::start();
        sim::fault_plan::add({.name = "usleep", .lasting = true});  // returns at once
        x_shell_wait_process("name", c.state);
        sim::fault_plan::stop();
        const Calls log = sim::fault_plan::log();
        EXPECT_EQ(std::count(log.begin(), log.end(), "usleep(250000)"), c.sleeps) << c.pgrep;
        EXPECT_EQ(std::count(log.begin(), log.end(), "popen(pgrep -xl \"name\")"), c.queries) << c.pgrep;
    }
}

}  // namespace
}  // namespace ostdrv::test
