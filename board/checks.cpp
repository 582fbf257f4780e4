// What the library does with the kernel's own drivers. Runs on the virtual board and changes what surrounds it itself,
// so that it decides when.
//
//   board_checks             every family; what a family printed and one line for each check that failed
//   board_checks line LINE LEVEL   drives a line from outside
//   board_checks cut BYTES   says what the last cut left, then stores and loses power when BYTES of the store are
//   written
#include <ostdrv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "mapped.hpp"
#include "world.hpp"

namespace ostdrv::board {
namespace {

constexpr char eeprom[] = "/var/tmp/eeprom";

int checked = 0, failures = 0;

void expect(double found, double wanted, const std::string &what) {
    ++checked;
    if (found == wanted) return;
    ++failures;
    std::printf("FAILED: %s: %g, not %g\n", what.c_str(), found, wanted);
}

// The interrupt is served before the next instruction of this program.
void drive(World &world, Register &pending, int line, bool high) {
    if (world.gpio.drive(line, high)) pending = interrupt_bit;
}

void attributes() {
    const std::string panel = "/sys/class/backlight/panel/";
    const auto path = [&](const char *name) { return panel + name; };
    unsigned size = 0;
    expect(x_sysfs_size(path("brightness").c_str(), &size), 0, "size of an attribute");
    expect(size, 4096, "its size");
    expect(x_sysfs_size(eeprom, &size), 0, "size of the EEPROM");
    expect(size, 4096, "the EEPROM's size");
    expect(x_sysfs_write_int(path("max_brightness").c_str(), 1), -1, "write what is read-only, as root");
    expect(x_sysfs_write_int(path("brightness").c_str(), 256), -EINVAL, "write what the driver refuses");
    expect(x_sysfs_contains(path("type").c_str(), "raw"), 1, "text of an attribute");
}

void lines(World &world, Register &pending) {
    for (const int line : {0, 15, 16, 31}) {
        const std::string name = "line " + std::to_string(line);
        int value = -1;
        expect(x_gpio_util_direction(line, 0), 0, name + " in");
        for (const bool high : {true, false}) {
            drive(world, pending, line, high);
            expect(x_gpio_util_get(line, &value), 0, name + " get");
            expect(value, high, name + " driven");
        }
        for (const int level : {1, 0}) {
            expect(x_gpio_util_set(line, level), 0, name + " set");
            expect(world.gpio.is_output(line) && world.gpio.level(line) == (level == 1), 1, name + " at the pin");
            expect(x_gpio_util_get(line, &value), 0, name + " get");
            expect(value, level, name + " read back");
        }
        for (const int inverted : {1, 0}) {
            expect(x_gpio_util_active_low(line, inverted), 0, name + " inverted or not");
            expect(x_gpio_util_get(line, &value), 0, name + " get");
            expect(value, inverted, name + " read back so");
        }
        expect(x_gpio_util_direction(line, 0), 0, name + " in again");
    }
    expect(x_gpio_util_export(32), -1, "a line that no chip has");
}

void edges(World &world, Register &pending) {
    // A wait sees the edges that it was armed for, and no others.
    for (const int edge : {0, 1, 2}) {
        x_gpio_poll_entry entry{.gpio = 5, .edge = edge, .value = -1, .fired = 0, .fd = -1};
        expect(x_gpio_util_poll_multiple_setup(&entry, 1), 0, "set up");
        for (const bool high : {true, false, true}) {
            drive(world, pending, 5, high);
            const bool awaited = edge == 2 || high == (edge == 1);
            const std::string name = "edge " + std::to_string(edge) + (high ? " rising" : " falling");
            expect(x_gpio_util_poll_multiple(&entry, 1, 20), awaited ? 0 : 1, name);
            if (awaited) expect(entry.value, high, name + ", its value");
        }
        x_gpio_poll_multiple_cleanup(&entry, 1);
        drive(world, pending, 5, false);
    }

    // Sixteen lines in one wait.
    x_gpio_poll_entry all[16];
    for (int i = 0; i < 16; ++i) all[i] = {.gpio = i * 2, .edge = 2, .value = -1, .fired = 0, .fd = -1};
    expect(x_gpio_util_poll_multiple_setup(all, 16), 0, "set up sixteen");
    for (int i = 0; i < 16; i += 3) drive(world, pending, all[i].gpio, true);
    expect(x_gpio_util_poll_multiple(all, 16, 1000), 0, "wait for sixteen");
    for (int i = 0; i < 16; ++i) expect(all[i].fired, i % 3 == 0, "fired " + std::to_string(i));
    expect(x_gpio_util_poll_multiple(all, 16, 20), 1, "nothing more");
    x_gpio_poll_multiple_cleanup(all, 16);

    // One line, while another process drives it.
    int value = -1;
    const pid_t other = fork();
    if (other == 0) {
        usleep(50000);
        drive(world, pending, 1, true);
        _exit(0);
    }
    expect(x_gpio_util_poll(1, 1, 5000, &value), 0, "edge from another process");
    expect(value, 1, "its value");
    waitpid(other, nullptr, 0);
    expect(x_gpio_util_poll(1, 1, 50, &value), 1, "no edge");

    using Clock = std::chrono::steady_clock;
    x_gpio_poll_entry one{.gpio = 7, .edge = 2, .value = -1, .fired = 0, .fd = -1};
    expect(x_gpio_util_poll_multiple_setup(&one, 1), 0, "set up");
    constexpr int count = 400;
    int seen = 0;
    double longest = 0;
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < count; ++i) {
        const Clock::time_point driven = Clock::now();
        drive(world, pending, 7, i % 2 == 0);
        seen += x_gpio_util_poll_multiple(&one, 1, 1000) == 0 && one.value == (i % 2 == 0);
        longest = std::max(longest, std::chrono::duration<double, std::micro>(Clock::now() - driven).count());
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    x_gpio_poll_multiple_cleanup(&one, 1);
    std::printf("edges: %d of %d seen, %.0f a second, %.0f us each, %.0f at most (250 million instructions a second)\n",
                seen, count, count / seconds, seconds * 1e6 / count, longest);
    expect(seen, count, "edges one after the other");
}

void analog(World &world) {
    for (int channel = 0; channel < 12; ++channel) {
        world.chips.samples[channel] = static_cast<std::uint16_t>(4095 - 340 * channel);
        expect(adc_read_impl(channel), 4095 - 340 * channel, "channel " + std::to_string(channel));
    }
    expect(adc_read_impl(12), -1, "a channel that the ADC has not");
    float celsius = 0;
    world.chips.samples[3] = 2048;
    expect(ntc_temp_read(3, 10000, 3950, 10000, 4096, &celsius), 0, "thermistor");
    expect(celsius, 25, "its temperature");
    for (const std::uint32_t count : {0u, 504u, 1023u}) {
        world.thermometer.status = Thermometer::valid | count;
        expect(ntc_sysfs_temp_read("/sys/class/thermal/thermal_zone0/temp", &celsius), 0, "thermometer");
        expect(std::round(celsius * 1000), std::round(Thermometer::celsius(count) * 1000), "its temperature");
    }
    world.thermometer.status = 0;
    expect(ntc_sysfs_temp_read("/sys/class/thermal/thermal_zone0/temp", &celsius), -1, "a thermometer without a value");
    world.thermometer.status = Thermometer::valid | 450;
}

void lights(World &world) {
    const char *const names[] = {"panel", "red", "green", "blue"};
    for (int i = 0; i < 4; ++i)
        for (const unsigned percent : {1u, 50u, 100u, 0u}) {
            unsigned read_back = 999;
            const std::string name = std::string(names[i]) + " at " + std::to_string(percent);
            expect(x_pwm_set_cycle(names[i], percent), 0, name);
            expect(world.pwm[i / 2].brightness(i % 2), std::round(percent * 255 / 100.0), name + ", duty");
            expect(x_pwm_read_cycle(names[i], &read_back), 0, name + ", read");
            expect(read_back, percent, name + ", read back");
        }
    expect(x_pwm_set_cycle("red", 101), -1, "more than a light can");
    expect(world.pwm[0].brightness(1), 0, "it stays as it was");
    expect(x_pwm_set_cycle("violet", 10), -1, "a light that is not there");
}

using Payload = std::unique_ptr<x_sensor_eeprom_payload, decltype(&x_sensor_eeprom_payload_free)>;

// Three tables whose bytes say which generation they are of.
Payload payload(int size, int generation) {
    Payload made(x_sensor_eeprom_payload_init(), x_sensor_eeprom_payload_free);
    const char *const texts[] = {"", "S1", "s5l", "L1", "42"};
    for (int i = 0; i < 5; ++i) std::strcpy(made->header[i], texts[i]);
    for (const int slot : {0, 7, 19}) {
        x_sensor_eeprom_table &table = made->tables[slot];
        std::snprintf(table.name, sizeof table.name, "t%d", slot);
        table.length = size;
        std::memset(table.data, generation + slot, static_cast<std::size_t>(size));
    }
    return made;
}

bool same_tables(const Payload &one, const Payload &other) {
    for (const int slot : {0, 7, 19}) {
        const x_sensor_eeprom_table &a = one->tables[slot], &b = other->tables[slot];
        if (a.length != b.length || std::memcmp(a.data, b.data, static_cast<std::size_t>(a.length)) != 0) return false;
    }
    return true;
}

int status = -1;
constexpr int cut_size = 16;

void store_and_load(World &world) {
    const Payload full = payload(1200, 10), loaded = payload(0, 0), other = payload(1200, 60);
    expect(x_sensor_eeprom_reset(eeprom, &status), 0, "erase");
    expect(static_cast<double>(std::count(std::begin(world.eeprom), std::end(world.eeprom), 0xFF)), 4096, "erased");
    expect(x_sensor_eeprom_load_header(eeprom, loaded.get(), &status), -1, "header of an erased EEPROM");
    expect(x_sensor_eeprom_store(eeprom, full.get(), &status), 0, "store");
    expect(x_sensor_eeprom_load(eeprom, loaded.get(), &status), 0, "load");
    expect(same_tables(full, loaded), 1, "what was stored");
    expect(x_sensor_eeprom_check_header(eeprom, full->hash, &status), 0, "digest");
    world.chips.eeprom_protected = 1;
    expect(x_sensor_eeprom_store(eeprom, other.get(), &status), 0, "store in a protected EEPROM");
    expect(same_tables(full, other), 1, "gives back what it kept");
    world.chips.eeprom_protected = 0;
    expect(x_sensor_eeprom_store(eeprom, payload(cut_size, 1).get(), &status), 0, "what the power cuts begin with");
}

int all_families(World &world) {
    Register &pending = register_at(pending_address);
    for (int line = 0; line < 32; ++line) drive(world, pending, line, false);
    attributes();
    lines(world, pending);
    edges(world, pending);
    analog(world);
    lights(world);
    store_and_load(world);
    std::printf("%d checks, %d failed\n", checked, failures);
    return failures > 0;
}

// Generation 1 is there when generation 2 is stored; a cut leaves one of them or says that it has neither.
int cut(World &world, unsigned bytes) {
    const Payload old = payload(cut_size, 1), fresh = payload(cut_size, 101), found = payload(0, 0);
    const char *tables = "unreadable";
    if (x_sensor_eeprom_load(eeprom, found.get(), &status) == 0)
        tables = same_tables(found, old) ? "old" : same_tables(found, fresh) ? "new" : "WRONG";
    const bool header = x_sensor_eeprom_load_header(eeprom, found.get(), &status) == 0;
    std::fprintf(stderr, "found: tables %s, header %s\n", tables, header ? "readable" : "unreadable");
    if (*tables == 'W') return 1;
    if (bytes == 0) return 0;

    if (x_sensor_eeprom_store(eeprom, old.get(), &status) != 0 &&
        (x_sensor_eeprom_reset(eeprom, &status) != 0 || x_sensor_eeprom_store(eeprom, old.get(), &status) != 0))
        return 1;
    world.chips.bytes_to_power_cut = bytes;
    const int result = x_sensor_eeprom_store(eeprom, fresh.get(), &status);
    std::fprintf(stderr, "a store takes %u bytes\n", bytes - world.chips.bytes_to_power_cut);
    world.chips.bytes_to_power_cut = 0;
    return result != 0;
}

}  // namespace
}  // namespace ostdrv::board

int main(int argc, char **argv) {
    using namespace ostdrv::board;
    World &world = mapped_world();
    if (argc == 4 && std::strcmp(argv[1], "line") == 0)
        return drive(world, register_at(pending_address), std::atoi(argv[2]), std::strcmp(argv[3], "high") == 0), 0;
    if (argc == 3 && std::strcmp(argv[1], "cut") == 0) return cut(world, static_cast<unsigned>(std::atoi(argv[2])));
    return all_families(world);
}
