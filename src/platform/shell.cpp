#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/fixed_text.hpp"

using ostdrv::FixedText;

namespace {

constexpr size_t text_size = 1024;
constexpr char silent_suffix[] = ") > /dev/null 2>&1";
constexpr char background_suffix[] = ") > /dev/null 2>&1 &";
constexpr char merge_errors[] = " 2>&1";
constexpr useconds_t query_interval = 250000;

[[gnu::format(printf, 3, 0)]] bool format_text(char *text, size_t size, const char *format, va_list args) {
    return vsnprintf(text, size, format, args) >= 0;
}

// The echo must be out before the command runs: it may be the last thing that the process says.
void echo(const char *kind, const char *command) {
    if (!getenv("X_SHELL_DEBUG")) return;
    printf("%s: '%s'\n", kind, command);
    fflush(stdout);
}

}  // namespace

int x_shell(const char *suffix, const char *format, va_list args) {
    const size_t suffix_length = strlen(suffix);
    if (suffix_length >= text_size) return -1;

    char text[text_size];
    if (!format_text(text, text_size - suffix_length, format, args)) return -1;

    FixedText<text_size + 1> command;
    command.append("(").append(text).append(suffix);
    echo("Shell command", command.c_str());
    return system(command.c_str());
}

int x_shell_exec(const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int status = x_shell(silent_suffix, format, args);
    va_end(args);
    return status;
}

int x_shell_exec_background(const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int status = x_shell(background_suffix, format, args);
    va_end(args);
    return status;
}

FILE *x_shell_popen(const char *format, ...) {
    char text[text_size - (sizeof merge_errors - 1)];
    va_list args;
    va_start(args, format);
    const bool formatted = format_text(text, sizeof text, format, args);
    va_end(args);
    if (!formatted) return nullptr;

    FixedText<text_size> command;
    command.append(text).append(merge_errors);
    echo("Shell popen command", command.c_str());
    return popen(command.c_str(), "r");
}

int x_shell_get_process_pid(const char *name) {
    char command[256];
    const int length = snprintf(command, sizeof command, "pgrep -xl \"%s\"", name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) return -1;

    FILE *const lines = popen(command, "r");
    if (!lines) return -1;

    int pid = -1;
    char line[256] = {};
    while (fgets(line, sizeof line, lines))
        if (!strstr(line, "pgrep"))  // the query itself is nobody's process
            ostdrv::parse_leading_int(line, &pid);
    pclose(lines);
    return pid;
}

void x_shell_wait_process(const char *name, int state) {
    if (state != 0 && state != 1) return;
    const bool wanted = state == 1;
    while ((x_shell_get_process_pid(name) != -1) != wanted) usleep(query_interval);
}
