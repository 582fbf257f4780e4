// One function per family of commands, each in the file of its name.
#ifndef OSTDRV_TOOLS_FAMILIES_HPP
#define OSTDRV_TOOLS_FAMILIES_HPP

#include <CLI/App.hpp>

namespace ostdrv::tool {}  // namespace ostdrv::tool

#endif
