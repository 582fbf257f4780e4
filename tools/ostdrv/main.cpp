#include "families.hpp"
#include "program.hpp"

int main(int argc, char **argv) {
    using namespace ostdrv::tool;
    CLI::App app("Works with the hardware of this device: its secure element, sensor EEPROM, lines, inputs and lights.",
                 "ostdrv");
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 the operation failed, 2 bad usage, 3 not verified.");
    add_info(app);
    add_provision(app);
    add_key(app);
    add_serial(app);
    add_csr(app);
    add_cert(app);
    add_slot(app);
    add_eeprom(app);
    add_gpio(app);
    add_analog(app);
    add_lights(app);
    add_attr(app);
    return run(app, argc, argv);
}
