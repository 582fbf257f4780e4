/* What an ordinary program sees of a board's files, one act at a time: the simulated board and the kernel have to show
 * it the same. Run by observations.sh. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

static int is(const char *word, const char *other) { return strcmp(word, other) == 0; }

/* A count, or why there is none. */
static void say(long result) {
    if (result < 0)
        printf("%s ", strerrorname_np(errno));
    else
        printf("%ld ", result);
}

static int open_as(const char *flags, const char *path) {
    int all = strchr(flags, 'b') ? O_RDWR : strchr(flags, 'w') ? O_WRONLY : O_RDONLY;
    if (strchr(flags, 'c')) all |= O_CREAT;
    if (strchr(flags, 'x')) all |= O_EXCL;
    if (strchr(flags, 't')) all |= O_TRUNC;
    if (strchr(flags, 'a')) all |= O_APPEND;
    return open(path, all, 0644);
}

static void opens(char **words) { say(open_as(words[0], words[1]) < 0 ? -1 : 0); }

static void shows(char **words) {
    struct stat status;
    const int fd = open_as("r", words[0]);
    say(stat(words[0], &status));
    printf("mode %o size %ld end %ld", status.st_mode, (long)status.st_size, (long)lseek(fd, 0, SEEK_END));
}

static void streams(const char *how, const char *path, const char *text) {
    FILE *stream = is(how, "fdopen")    ? fdopen(open_as("w", path), "w")
                   : is(how, "freopen") ? freopen(path, "w", stdin)
                                        : fopen(path, is(how, "append")   ? "a"
                                                      : is(how, "update") ? "r+"
                                                                          : "w");
    if (!stream) return say(-1);
    if (is(how, "unbuffered")) setvbuf(stream, NULL, _IONBF, 0);
    if (is(how, "lines")) setvbuf(stream, NULL, _IOLBF, 0);
    say(fprintf(stream, "%s", text));
    if (is(how, "exit")) return;
    if (is(how, "flush")) say(fflush(stream));
    say(ferror(stream));
    say(fclose(stream));
}

static void writes(char **words) {
    const char *const how = words[0], *const path = words[1], *const text = words[2];
    const size_t size = strlen(text);
    struct iovec halves[] = {{words[2], size / 2}, {words[2] + size / 2, size - size / 2}};
    int fd = open_as(is(how, "truncating") ? "wt" : "w", path);
    if (is(how, "dup")) fd = dup(fd);
    if (is(how, "dup2")) fd = dup2(fd, 50);
    if (is(how, "dup3")) fd = dup3(fd, 51, O_CLOEXEC);
    if (is(how, "fcntl")) fd = fcntl(fd, F_DUPFD, 60);
    if (is(how, "pwrite"))
        say(pwrite(fd, text, size, 1));
    else if (is(how, "writev"))
        say(writev(fd, halves, 2));
    else if (is(how, "dprintf"))
        say(dprintf(fd, "%s", text));
    else if (is(how, "stdout"))
        dup2(fd, 1), printf("%s", text), fclose(stdout);
    else
        say(write(fd, text, size));
    if (is(how, "twice")) say(write(fd, text, size));
}

static void stream_writes(char **words) { streams(words[0], words[1], words[2]); }

static void shortens(char **words) {
    say(truncate(words[0], 0));
    say(ftruncate(open_as("w", words[0]), 0));
    say(ftruncate(open_as("r", words[0]), 0));
}

static void removes(char **words) {
    say(unlink(words[0]));
    say(rename(words[0], words[1]));
}

/* From an offset, by read and by a stream. */
static void reads(char **words) {
    char text[5000] = "";
    const int fd = open_as("r", words[1]);
    say(pread(fd, text, 100, atoi(words[0])));
    FILE *const stream = fopen(words[1], "r");
    if (stream && fseek(stream, atoi(words[0]), SEEK_SET) == 0 && fgets(text, 100, stream)) printf("%s", text);
}

/* The bits of what is reported: 2 exceptional, 8 error. */
static int reported(const char *how, int fd, int milliseconds) {
    static int set = -1;
    struct epoll_event event = {is(how, "epoll-once") ? EPOLLPRI | EPOLLET : EPOLLPRI, {.fd = fd}};
    struct timespec time = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    struct timeval brief = {time.tv_sec, time.tv_nsec / 1000};
    struct pollfd watch = {fd, POLLPRI, 0};
    fd_set exceptional;
    FD_ZERO(&exceptional);
    FD_SET(fd, &exceptional);
    if (is(how, "poll")) return poll(&watch, 1, milliseconds), watch.revents;
    if (is(how, "ppoll")) return ppoll(&watch, 1, &time, NULL), watch.revents;
    if (is(how, "select")) return select(fd + 1, NULL, NULL, &exceptional, &brief) > 0 ? 2 : 0;
    if (is(how, "pselect")) return pselect(fd + 1, NULL, NULL, &exceptional, &time, NULL) > 0 ? 2 : 0;
    if (set < 0) set = epoll_create1(0), epoll_ctl(set, EPOLL_CTL_ADD, fd, &event);
    return epoll_wait(set, &event, 1, milliseconds) > 0 ? (int)event.events : 0;
}

/* A wait before anything is read, after it, for an edge that a command makes meanwhile, again, and after another read.
 */
static void waits(char **words) {
    char text[8];
    const int fd = open_as("r", words[1]);
    printf("%d ", reported(words[0], fd, 0));
    say(read(fd, text, sizeof text));
    printf("%d ", reported(words[0], fd, 20));
    fflush(stdout);
    if (fork() == 0) {
        usleep(100000);
        execvp(words[2], words + 2);
        _exit(127);
    }
    printf("%d ", reported(words[0], fd, 5000));
    printf("%d ", reported(words[0], fd, 0));
    lseek(dup(fd), 0, SEEK_SET);
    say(read(fd, text, sizeof text));
    printf("%.1s %d", text, reported(words[0], fd, 20));
}

static void asks(char **words) {
    const int fd = open_as("b", words[0]);
    unsigned long functions = 0;
    uint8_t byte = 0;
    union i2c_smbus_data data = {0};
    struct i2c_smbus_ioctl_data quick = {I2C_SMBUS_WRITE, 0, I2C_SMBUS_QUICK, NULL},
                                one = {I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE, &data};
    struct i2c_msg message = {(uint16_t)strtol(words[1], NULL, 0), I2C_M_RD, 1, &byte};
    struct i2c_rdwr_ioctl_data none = {&message, 0}, single = {&message, 1};
    say(ioctl(fd, I2C_FUNCS, &functions));
    printf("functions %lx ", functions);
    say(ioctl(fd, I2C_SLAVE, (unsigned long)message.addr));
    say(ioctl(fd, I2C_SLAVE_FORCE, (unsigned long)message.addr));
    say(ioctl(fd, I2C_SMBUS, &quick));
    say(ioctl(fd, I2C_SMBUS, &one));
    say(ioctl(fd, I2C_RDWR, &none));
    say(ioctl(fd, I2C_RDWR, &single));
    say(read(fd, &byte, 1));
}

int main(int count, char **words) {
    static const struct {
        const char *name;
        int words;
        void (*act)(char **words);
    } acts[] = {{"opens", 2, opens},          {"shows", 1, shows},       {"writes", 3, writes},
                {"stream", 3, stream_writes}, {"shortens", 1, shortens}, {"removes", 2, removes},
                {"reads", 2, reads},          {"waits", 3, waits},       {"asks", 2, asks}};
    for (size_t i = 0; count > 1 && i < sizeof acts / sizeof *acts; ++i)
        if (is(acts[i].name, words[1]) && count - 2 >= acts[i].words) return acts[i].act(words + 2), 0;
    fputs("usage: board_observe ACT WORDS..., as in observations.sh\n", stderr);
    return 2;
}
