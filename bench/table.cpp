#include "table.hpp"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace ostdrv::bench {
namespace {

double median(std::vector<double> &numbers) {
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

std::string microseconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f us", seconds < 1e-4 ? 2 : 0, seconds * 1e6);
    return text;
}

void measure(benchmark::State &state, const Comparison &comparison) {
    std::vector<double> library, bare, ratios;
    bool library_first = false;
    for (auto _ : state) {
        library_first = !library_first;
        if (library_first) library.push_back(comparison.library());
        bare.push_back(comparison.bare());
        if (!library_first) library.push_back(comparison.library());
        ratios.push_back(library.back() / bare.back());
        state.SetIterationTime(library.back());
    }
    state.counters["ratio"] = median(ratios);
    const std::string separator = comparison.remark.empty() ? "" : ", ";
    state.SetLabel(comparison.unit + "\t" + comparison.remark + separator + microseconds(median(library)) +
                   " against " + microseconds(median(bare)));
}

class Lines : public benchmark::BenchmarkReporter {
 public:
    explicit Lines(const Table &table) : table_(table) {}
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const std::size_t tab = run.report_label.find('\t');
            table_.add(run.run_name.function_name, run.counters.at("ratio"), run.report_label.substr(0, tab),
                       run.report_label.substr(tab + 1));
        }
    }

 private:
    const Table &table_;
};

}  // namespace

void must(bool so, const std::string &what) {
    if (!so) throw std::runtime_error("failed: " + what);
}

Stopwatch timed(int batch, std::function<void()> action) {
    using Clock = std::chrono::steady_clock;
    return [batch, action = std::move(action)] {
        const auto start = Clock::now();
        for (int i = 0; i < batch; ++i) action();
        return std::chrono::duration<double>(Clock::now() - start).count() / batch;
    };
}

void Table::add(const std::string &name, double value, const std::string &unit, const std::string &remark) const {
    const bool whole = value == static_cast<double>(static_cast<long>(value));
    std::fprintf(out_, "%s\t%.*f\t%s\t%s\n", name.c_str(), whole ? 0 : 3, value, unit.c_str(), remark.c_str());
    std::fflush(out_);
}

void Table::compare(const Comparison &comparison) const {
    benchmark::RegisterBenchmark(comparison.name.c_str(), measure, comparison)
        ->UseManualTime()
        ->Iterations(comparison.turns);
}

void Table::run() const {
    Lines lines(*this);
    benchmark::RunSpecifiedBenchmarks(&lines);
    benchmark::ClearRegisteredBenchmarks();
}

int bench_main(int argc, char **argv, void (*measure)(const Table &table, const std::string &argument)) {
    benchmark::Initialize(&argc, argv);
    std::FILE *const out = fdopen(dup(STDOUT_FILENO), "w");
    if (!out || !std::freopen("/dev/null", "w", stdout)) return EXIT_FAILURE;
    try {
        measure(Table(out), argc > 1 ? argv[1] : "");
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace ostdrv::bench
