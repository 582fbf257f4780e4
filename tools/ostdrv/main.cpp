#include "families.hpp"

int main(int argc, char **argv) {
    using namespace ostdrv::tool;
    Program program(
        "ostdrv",
        "Works with the hardware of this device: its secure element, sensor EEPROM, lines, inputs and lights.");
    program.footer("Exit status: 0 done, 1 the operation failed, 2 bad usage, 3 not verified.");
    program.footer(
        "Results go to standard output, messages to standard error. A FILE other than the EEPROM's may be -, standard\n"
        "input or output. Numbers are decimal or 0x hexadecimal. What cannot be undone asks at the terminal, or wants\n"
        "--yes.");
    add_info(program);
    add_doctor(program);
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
