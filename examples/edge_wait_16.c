/*
 * Waits for edges on 16 GPIO lines at once and prints each one, until none has come for a while.
 *
 *   edge_wait_16 [FIRST_LINE [TIMEOUT_MS]]
 *
 * On a simulated board, drive a line from a second terminal: ostdrv-sim line 3 high
 */
#include <ostdrv.h>
#include <stdio.h>
#include <stdlib.h>

#define LINES 16

static void print_edges(x_gpio_poll_entry *entries) {
    for (int i = 0; i < LINES; ++i) {
        if (!entries[i].fired) continue;
        printf("line %d is %s\n", entries[i].gpio, entries[i].value ? "high" : "low");
        entries[i].fired = 0;
    }
    fflush(stdout);
}

int main(int argc, char **argv) {
    const int first_line = argc > 1 ? atoi(argv[1]) : 0;
    const int timeout_ms = argc > 2 ? atoi(argv[2]) : 5000;

    x_gpio_poll_entry entries[LINES];
    for (int i = 0; i < LINES; ++i)
        entries[i] = (x_gpio_poll_entry){.gpio = first_line + i, .edge = X_GPIO_EDGE_BOTH, .fd = -1};

    if (x_gpio_util_poll_multiple_setup(entries, LINES) != 0) {
        fprintf(stderr, "lines %d to %d cannot be waited on\n", first_line, first_line + LINES - 1);
        return 1;
    }
    printf("waiting for edges on lines %d to %d\n", first_line, first_line + LINES - 1);
    fflush(stdout);

    while (x_gpio_util_poll_multiple(entries, LINES, timeout_ms) == 0) print_edges(entries);
    printf("no edge for %d ms\n", timeout_ms);

    x_gpio_poll_multiple_cleanup(entries, LINES);
    return 0;
}
