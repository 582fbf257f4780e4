// One function per family of commands.
#ifndef OSTDRV_TOOLS_FAMILIES_HPP
#define OSTDRV_TOOLS_FAMILIES_HPP

#include <CLI/CLI.hpp>

namespace ostdrv::tool {

void add_info(CLI::App &app);
void add_provision(CLI::App &app);
void add_key(CLI::App &app);
void add_serial(CLI::App &app);
void add_csr(CLI::App &app);
void add_cert(CLI::App &app);
void add_slot(CLI::App &app);
void add_eeprom(CLI::App &app);
void add_gpio(CLI::App &app);
void add_analog(CLI::App &app);
void add_lights(CLI::App &app);
void add_attr(CLI::App &app);

}  // namespace ostdrv::tool

#endif
