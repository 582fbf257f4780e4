// What is measured on a simulated board: edges, verification.
//
//   board_bench atecc608a|trustx
#include "benches.hpp"

namespace ostdrv::bench {
namespace {

void measure(const Table &table, const std::string &chip) {
    const bool trustx = chip == "trustx";
    const Device device(chip);
    if (!trustx) compare_edge_waits(table);
    compare_verification(table, device, trustx);
    table.run();
}

}  // namespace
}  // namespace ostdrv::bench

int main(int argc, char **argv) { return ostdrv::bench::bench_main(argc, argv, ostdrv::bench::measure); }
