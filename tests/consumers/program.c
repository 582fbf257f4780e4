/* Uses the library as an application does: the public header, a path of its own. */
#include <ostdrv.h>
#include <stdio.h>

int main(int argc, char **argv) {
    int value = 0;
    if (argc != 2 || x_sysfs_write_int(argv[1], -42) != 0 || x_sysfs_read_int(argv[1], &value) != 0) return 1;
    printf("%d\n", value);
    return 0;
}
