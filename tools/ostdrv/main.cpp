#include "families.hpp"

int main(int argc, char **argv) {
    using namespace ostdrv::tool;
    Program program(
        "ostdrv",
        "Works with the hardware of this device: its secure element, sensor EEPROM, lines, inputs and lights.");
    program.footer("Exit status: 0 done, 1 the operation failed, 2 bad usage, 3 not verified.");
    add_info(program);
    add_provision(program);
    add_key(program);
    add_serial(program);
    add_csr(program);
    add_cert(program);
    add_slot(program);
    add_eeprom(program);
    add_gpio(program);
    add_analog(program);
    add_lights(program);
    add_attr(program);
    return program.run(argc, argv);
}
