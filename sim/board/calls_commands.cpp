// Commands and time.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "calls.hpp"
#include "shell.hpp"

using namespace ostdrv::sim;

extern "C" {

int system(const char *command) {
    Call call(kind, "system", "%s", command ? command : "");
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(system)(command ? host_command(command).c_str() : nullptr);
}

FILE *popen(const char *command, const char *mode) {
    Call call(kind, "popen", "%s", command);
    if (call.fails()) return nullptr;
    return OSTDRV_REAL(popen)(host_command(command).c_str(), mode);
}

int pclose(FILE *stream) {
    Call call(kind, "pclose");
    const int result = OSTDRV_REAL(pclose)(stream);
    return call.fails() ? static_cast<int>(call.result(-1)) : result;
}

int usleep(useconds_t microseconds) {
    Call call(kind, "usleep", "%u", microseconds);
    if (call.fails()) return static_cast<int>(call.result(-1));
    return OSTDRV_REAL(usleep)(microseconds);
}

unsigned sleep(unsigned seconds) {
    Call call(kind, "sleep", "%u", seconds);
    if (call.fails()) return static_cast<unsigned>(call.result(seconds));
    return OSTDRV_REAL(sleep)(seconds);
}

// A sleep that is made to fail has not begun.
int nanosleep(const timespec *time, timespec *rest) {
    Call call(kind, "nanosleep", "%ld.%09ld", static_cast<long>(time->tv_sec), time->tv_nsec);
    if (!call.fails()) return OSTDRV_REAL(nanosleep)(time, rest);
    if (rest) *rest = *time;
    return static_cast<int>(call.result(-1));
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *rest) {
    Call call(kind, "clock_nanosleep", "%d, %d, %ld.%09ld", clock, flags, static_cast<long>(time->tv_sec),
              time->tv_nsec);
    if (!call.fails()) return OSTDRV_REAL(clock_nanosleep)(clock, flags, time, rest);
    if (rest && flags == 0) *rest = *time;
    return static_cast<int>(call.result(errno));
}

}  // extern "C"
