// The lines that a bench adds to the table of table.sh. In every line less is better.
#ifndef OSTDRV_BENCH_TABLE_HPP
#define OSTDRV_BENCH_TABLE_HPP

#include <cstdio>
#include <functional>
#include <string>

namespace ostdrv::bench {

// Throws when it is not so: what fails has no speed.
void must(bool so, const std::string &what);

// Gives the seconds of one run.
using Stopwatch = std::function<double()>;

// The average of `batch` runs one after the other.
Stopwatch timed(int batch, std::function<void()> action);

// The library's time over that of a bare action. Both are timed once in each turn, either one first in every other;
// what counts is the median of the turns' ratios, so whatever else runs on the machine harms both alike.
struct Comparison {
    std::string name, unit;
    Stopwatch library, bare;
    int turns;
    std::string remark = {};
};

class Table {
 public:
    explicit Table(std::FILE *out) : out_(out) {}

    void add(const std::string &name, double value, const std::string &unit, const std::string &remark) const;
    // Timed by the next run().
    void compare(const Comparison &comparison) const;
    void run() const;

 private:
    std::FILE *out_;
};

// What the main function of a bench does: Google Benchmark takes its options, the library's own messages are silenced,
// `measure` gets the table and the first argument left. The exit status is 1 when something failed.
int bench_main(int argc, char **argv, void (*measure)(const Table &table, const std::string &argument));

}  // namespace ostdrv::bench

#endif
