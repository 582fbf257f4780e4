// The benches that need a device.
#ifndef OSTDRV_BENCH_BENCHES_HPP
#define OSTDRV_BENCH_BENCHES_HPP

#include "device.hpp"
#include "table.hpp"

namespace ostdrv::bench {

void compare_edge_waits(const Table &table);
void compare_verification(const Table &table, const Device &device, bool trustx);

}  // namespace ostdrv::bench

#endif
