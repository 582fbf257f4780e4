// What the operations on the sensor module's EEPROM move: bytes read and written through the region functions, beside
// the bytes of the payload itself. A real part moves about 40 bytes in a millisecond, so this is what they cost there.
#include <dlfcn.h>
#include <kset.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "ostdrv.h"
#include "table.hpp"
#include "temporary_directory.hpp"

namespace ostdrv::bench {
namespace {

constexpr unsigned bytes_per_ms = 40;
constexpr int header_bytes = 4 * 8 + 16;  // four texts and the digest

struct Traffic {
    unsigned bytes = 0, transfers = 0;
    void count(unsigned length) { bytes += length, ++transfers; }
};
Traffic traffic;
kset_read_fn region_read;
kset_write_fn region_write;

int counted_read(void *buffer, unsigned length) {
    traffic.count(length);
    return region_read(buffer, length);
}

int counted_write(const void *buffer, unsigned length) {
    traffic.count(length);
    return region_write(buffer, length);
}

// A file that plays the EEPROM, and a payload for it.
class Module {
 public:
    Module(std::string path, int tables, int length) : path_(std::move(path)), table_bytes_(tables * length) {
        std::FILE *const file = std::fopen(path_.c_str(), "wb");
        std::fputs(std::string(256 * 1024, '\xff').c_str(), file);
        std::fclose(file);
        for (int text = 1; text <= 4; ++text)
            std::snprintf(payload_->header[text], sizeof payload_->header[text], "%s",
                          text == 2 ? X_SENSOR_EEPROM_LAYOUT_VERSION : "8 bytes.");
        for (int slot = 0; slot < tables; ++slot) {
            x_sensor_eeprom_table &table = payload_->tables[slot];
            std::snprintf(table.name, sizeof table.name, "table%d", slot);
            std::memset(table.data, slot + 1, static_cast<std::size_t>(length));
            table.length = length;
        }
    }
    ~Module() { x_sensor_eeprom_payload_free(payload_); }
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;

    bool store() { return x_sensor_eeprom_store(path_.c_str(), payload_, &status_) == 0; }
    bool load() { return x_sensor_eeprom_load(path_.c_str(), payload_, &status_) == 0; }
    bool check() { return x_sensor_eeprom_check_header(path_.c_str(), payload_->hash, &status_) == 0; }
    int table_bytes() const { return table_bytes_; }

 private:
    std::string path_;
    x_sensor_eeprom_payload *payload_ = x_sensor_eeprom_payload_init();
    int table_bytes_;
    int status_ = 0;
};

void add(const Table &table, const std::string &name, Module &module, bool (Module::*operation)(), int payload) {
    traffic = {};
    must((module.*operation)(), name);
    table.add(name, static_cast<double>(traffic.bytes) / payload, "bytes moved per payload byte",
              std::to_string(traffic.bytes) + " bytes for " + std::to_string(payload) + " in " +
                  std::to_string(traffic.transfers) + " transfers, about " +
                  std::to_string((traffic.bytes + bytes_per_ms - 1) / bytes_per_ms) + " ms on a real part");
}

void measure(const Table &table, const std::string &) {
    const test::TemporaryDirectory directory;
    for (const auto &[tables, length] : {std::pair{1, 100}, std::pair{3, 4096}, std::pair{20, 12288}}) {
        Module module(directory.path() + "/eeprom", tables, length);
        const std::string size = std::to_string(tables) + " x " + std::to_string(length) + " bytes";
        const int payload = module.table_bytes() + header_bytes;
        add(table, "EEPROM store of " + size, module, &Module::store, payload);
        // A load takes the tables and leaves the header alone.
        add(table, "EEPROM load of " + size, module, &Module::load, module.table_bytes());
        if (tables == 20) add(table, "EEPROM header check", module, &Module::check, header_bytes);
    }
}

}  // namespace
}  // namespace ostdrv::bench

// In front of the settings store's own: it gets the counting functions for the region's.
extern "C" int kset_init(unsigned count, unsigned size, int reserved, kset_read_fn read, kset_write_fn write) {
    using namespace ostdrv::bench;
    static const auto real = reinterpret_cast<decltype(&kset_init)>(dlsym(RTLD_NEXT, "kset_init"));
    region_read = read;
    region_write = write;
    return real(count, size, reserved, counted_read, counted_write);
}

int main(int argc, char **argv) { return ostdrv::bench::bench_main(argc, argv, ostdrv::bench::measure); }
