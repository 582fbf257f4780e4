// One function per family of commands.
#ifndef OSTDRV_TOOLS_FAMILIES_HPP
#define OSTDRV_TOOLS_FAMILIES_HPP

#include "command.hpp"

namespace ostdrv::tool {

void add_info(Command &program);
void add_doctor(Command &program);
void add_provision(Command &program);
void add_key(Command &program);
void add_serial(Command &program);
void add_csr(Command &program);
void add_cert(Command &program);
void add_slot(Command &program);
void add_eeprom(Command &program);
void add_gpio(Command &program);
void add_analog(Command &program);
void add_lights(Command &program);
void add_attr(Command &program);

}  // namespace ostdrv::tool

#endif
