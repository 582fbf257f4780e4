/*
 * Runs shell commands the four ways there are: for their status, in the background, for their output, and by the name
 * of the process. Needs nothing of the board. X_SHELL_DEBUG=1 in the environment shows each command.
 */
#define _POSIX_C_SOURCE 200809L
#include <ostdrv.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

/* Exit status of a command, -1 when it could not be run or was ended by a signal. */
static int exit_status(int status) { return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

static int run(void) {
    printf("true:     exit status %d\n", exit_status(x_shell_exec("true")));
    printf("exit %d:   exit status %d\n", 3, exit_status(x_shell_exec("exit %d", 3)));
    return 0;
}

static int read_back(void) {
    FILE *output = x_shell_popen("echo kernel; uname -s; cat /no/such/file");
    if (!output) {
        perror("popen");
        return -1;
    }

    char line[256];
    while (fgets(line, sizeof line, output)) {
        line[strcspn(line, "\n")] = '\0';
        printf("output:   %s\n", line);
    }
    printf("cat:      exit status %d\n", exit_status(pclose(output)));
    return 0;
}

/* A background process, named by its link, that is found, and waited for until it has ended. */
static int follow_a_process(void) {
    char name[16];
    snprintf(name, sizeof name, "nap-%d", (int)getpid());
    if (x_shell_exec_background("ln -s /bin/sleep /tmp/%s && /tmp/%s 1; rm /tmp/%s", name, name, name) != 0) {
        fprintf(stderr, "%s could not be started\n", name);
        return -1;
    }

    x_shell_wait_process(name, 1);
    printf("started:  %s\n", x_shell_get_process_pid(name) > 0 ? "yes" : "no");
    x_shell_wait_process(name, 0);
    printf("ended:    %s\n", x_shell_get_process_pid(name) == -1 ? "yes" : "no");
    return 0;
}

int main(void) { return run() == 0 && read_back() == 0 && follow_a_process() == 0 ? 0 : 1; }
