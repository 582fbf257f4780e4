#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

#include "world.hpp"

namespace ostdrv::test {
namespace {

class Shell : public World {
 public:
    // What the runner would run, as its echo shows it; nothing is run.
    static std::string command_of(const std::function<void()> &action) {
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
    // A pgrep of the test's own, first on the path.
    void put_pgrep(const std::string &script) const {
        put("pgrep", "#!/bin/sh\n" + script + "\n");
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
    const std::string quiet = ") > /dev/null 2>&1";
    const auto exec = [](const char *text) { EXPECT_EQ(x_shell_exec("%s", text), 77); };
    const auto in_background = [](const char *text) { EXPECT_EQ(x_shell_exec_background("%s", text), 77); };
    const auto piped = [](const char *text) { EXPECT_EQ(x_shell_popen("%s", text), nullptr); };
    const struct {
        std::function<void(const char *)> call;
        size_t given, kept;
        std::string before, after;
    } cases[] = {{exec, 0, 0, "Shell command: '(", quiet},
                 {exec, 1005, 1005, "Shell command: '(", quiet},
                 {exec, 1006, 1005, "Shell command: '(", quiet},
                 {in_background, 9000, 1003, "Shell command: '(", quiet + " &"},
                 {piped, 1019, 1018, "Shell popen command: '", " 2>&1"}};
    for (const auto &c : cases)
        EXPECT_EQ(command_of([&] { c.call(std::string(c.given, 'x').c_str()); }),
                  c.before + std::string(c.kept, 'x') + c.after + "'\n");

    const std::string longest = ")" + std::string(1022, ' ');
    EXPECT_EQ(command_of([&] { run(longest.c_str(), "%s", "lost"); }), "Shell command: '(" + longest + "'\n");
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(run((longest + " ").c_str(), "true"), -1); }), Calls{});
    const wchar_t no_character[] = {0x7fffffff, 0};
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(x_shell_exec("touch %ls", no_character), -1);
                  EXPECT_EQ(x_shell_popen("touch %ls", no_character), nullptr);
              }),
              Calls{});
}

TEST_F(Shell, EchoIsDecidedAtEachCallAndComesBeforeTheCommand) {
    testing::internal::CaptureStdout();
    run(")", "echo silent");
    setenv("X_SHELL_DEBUG", "0", 1);
    run(")", "echo %s", "loud");
    pclose(x_shell_popen("true"));
    unsetenv("X_SHELL_DEBUG");
    run(")", "echo silent");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "silent\nShell command: '(echo loud)'\nloud\nShell popen command: 'true 2>&1'\nsilent\n");
}

TEST_F(Shell, PidIsTheNumberOnTheLastLineThatHasOne) {
    const std::pair<const char *, int> cases[] = {{"", -1},
                                                  {"12 name\n340 name\n", 340},
                                                  {"12 name\n340 pgrep\n", 12},
                                                  {"12 name\nname 340\n\n", 12},
                                                  {"  7 name", 7}};
    put_pgrep("cat \"$(dirname \"$0\")/lines\"");
    for (const auto &[lines, pid] : cases) {
        put("lines", lines);
        EXPECT_EQ(x_shell_get_process_pid("name"), pid) << lines;
    }
    const auto query = [](const std::string &name) { return calls_of([&] { x_shell_get_process_pid(name.c_str()); }); };
    const std::string longest(243, 'n');
    EXPECT_EQ(query(longest).front(), "popen(pgrep -xl \"" + longest + "\")");
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
                 {count + "[ $n -ge 3 ] && echo 5 name", 1, 3, 2},
                 {count + "[ $n -ge 3 ] || echo 5 name", 0, 3, 2},
                 {"echo 5 name", 2, 0, 0},
                 {"exit 1", -1, 0, 0}};
    for (const auto &c : cases) {
        unlink(path("pgrep.n").c_str());
        put_pgrep(c.pgrep);
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
