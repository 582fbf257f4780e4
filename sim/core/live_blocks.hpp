// Blocks that the code under test took from an allocator and has not given back.
#ifndef OSTDRV_SIM_LIVE_BLOCKS_HPP
#define OSTDRV_SIM_LIVE_BLOCKS_HPP

#include <cstddef>

namespace ostdrv::sim {

void block_taken(const void *block);
void block_given_back(const void *block);
std::size_t live_blocks();

}  // namespace ostdrv::sim

#endif
