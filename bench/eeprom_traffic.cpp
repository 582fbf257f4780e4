// What the operations on the sensor module's EEPROM move: bytes read and written through the region functions, beside
// the bytes of the payload itself. A real part moves about 40 bytes in a millisecond, so this is what they cost there.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <kset.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "ostdrv.h"

namespace {

constexpr double bytes_per_ms = 40;

struct Traffic {
    unsigned read = 0, written = 0, transfers = 0;
};
Traffic traffic;
kset_read_fn region_read;
kset_write_fn region_write;

int counted_read(void *buffer, unsigned length) {
    traffic.read += length;
    ++traffic.transfers;
    return region_read(buffer, length);
}

int counted_write(const void *buffer, unsigned length) {
    traffic.written += length;
    ++traffic.transfers;
    return region_write(buffer, length);
}

// A file that plays the EEPROM, and a payload for it.
class Module {
 public:
    Module(int tables, int length) : bytes_(tables * length + 4 * 8 + 16) {
        std::FILE *const file = std::fopen(path_.c_str(), "wb");
        std::fputs(std::string(256 * 1024, '\xff').c_str(), file);
        std::fclose(file);
        for (int text = 1; text <= 4; ++text) std::strcpy(payload_->header[text], text == 2 ? "s5l" : "8 bytes.");
        for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) payload_->tables[slot].name[0] = '\0';
        for (int slot = 0; slot < tables; ++slot) {
            x_sensor_eeprom_table &table = payload_->tables[slot];
            std::snprintf(table.name, sizeof table.name, "table%d", slot);
            std::memset(table.data, slot + 1, static_cast<std::size_t>(length));
            table.length = length;
        }
    }
    ~Module() {
        x_sensor_eeprom_payload_free(payload_);
        std::remove(path_.c_str());
    }

    bool store() { return x_sensor_eeprom_store(path_.c_str(), payload_, &status_) == 0; }
    bool load() { return x_sensor_eeprom_load(path_.c_str(), payload_, &status_) == 0; }
    bool check() { return x_sensor_eeprom_check_header(path_.c_str(), payload_->hash, &status_) == 0; }
    int bytes() const { return bytes_; }

 private:
    std::string path_ = "/tmp/ostdrv-eeprom-bench." + std::to_string(getpid());
    x_sensor_eeprom_payload *payload_ = x_sensor_eeprom_payload_init();
    int bytes_;
    int status_ = 0;
};

void run(benchmark::State &state, bool (Module::*operation)()) {
    Module module(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    if (!module.store()) state.SkipWithError("the first store failed");
    for (auto _ : state) {
        traffic = {};
        if (!(module.*operation)()) state.SkipWithError("failed");
    }
    state.counters["payload"] = module.bytes();
    state.counters["read"] = traffic.read;
    state.counters["written"] = traffic.written;
    state.counters["transfers"] = traffic.transfers;
    state.counters["device_ms"] = (traffic.read + traffic.written) / bytes_per_ms;
}

void sizes(benchmark::internal::Benchmark *benchmark) {
    benchmark->Args({0, 0})->Args({1, 100})->Args({3, 4096})->Args({20, 12288});
    benchmark->Unit(benchmark::kMicrosecond)->Iterations(5);
}

BENCHMARK_CAPTURE(run, store, &Module::store)->Apply(sizes);
BENCHMARK_CAPTURE(run, load, &Module::load)->Apply(sizes);
BENCHMARK_CAPTURE(run, check_header, &Module::check)->Apply(sizes);

}  // namespace

// In front of the settings store's own: it gets the counting functions for the region's.
extern "C" int kset_init(unsigned count, unsigned size, int reserved, kset_read_fn read, kset_write_fn write) {
    static const auto real = reinterpret_cast<decltype(&kset_init)>(dlsym(RTLD_NEXT, "kset_init"));
    region_read = read;
    region_write = write;
    return real(count, size, reserved, counted_read, counted_write);
}

// The library's own messages would stand between the results, which therefore go to standard error.
int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (!std::freopen("/dev/null", "w", stdout)) return EXIT_FAILURE;
    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return EXIT_SUCCESS;
}
