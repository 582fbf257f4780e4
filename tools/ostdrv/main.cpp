#include "families.hpp"
#include "program.hpp"

int main(int argc, char **argv) {
    using namespace ostdrv::tool;
    CLI::App app("Works with the hardware of this device: its secure element, sensor EEPROM, lines, inputs and lights.",
                 "ostdrv");
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 the operation failed, 2 bad usage, 3 not verified.");
    return run(app, argc, argv);
}
