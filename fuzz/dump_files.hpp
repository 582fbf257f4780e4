// What the openssl command would have written: the library reads it from a file in /tmp whose name it draws from rand.
#ifndef OSTDRV_FUZZ_DUMP_FILES_HPP
#define OSTDRV_FUZZ_DUMP_FILES_HPP

#include <initializer_list>

#include "world.hpp"

namespace ostdrv::fuzz {

// From here on the command is not run any more: its first run is taken to have written the first dump, its second the
// second. Linked into a target, this file brings a rand that counts, so that the names are known.
void answer_with_dumps(const World &world, std::initializer_list<ByteView> dumps);

}  // namespace ostdrv::fuzz

#endif
