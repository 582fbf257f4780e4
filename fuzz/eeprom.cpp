// The sensor module's EEPROM, loaded, checked and stored again. The input is the file.
#include <cstring>

#include "world.hpp"

// A checksum would keep nearly every mutation out of the settings store. Here the right one is always 0.
extern "C" unsigned long crc32_z(unsigned long, const unsigned char *, std::size_t) { return 0; }

namespace ostdrv::fuzz {
namespace {

constexpr std::size_t slots = 3, capacities[slots] = {16, 100, X_SENSOR_EEPROM_TABLE_CAPACITY};

// Asks for the tables of the first slots, each with a buffer of another size.
struct Payload : x_sensor_eeprom_payload {
    Output buffers[slots]{Output(capacities[0]), Output(capacities[1]), Output(capacities[2])};

    Payload() : x_sensor_eeprom_payload{} {
        for (std::size_t i = 0; i < slots; ++i) {
            tables[i].name[0] = 't';
            tables[i].data = buffers[i].data();
            tables[i].capacity = static_cast<std::uint32_t>(capacities[i]);
        }
    }
    // The texts, the digest and the tables.
    Bytes content() const {
        Bytes all(header[1], tables[0].name + sizeof tables[0].name);
        for (std::size_t i = 0; i < slots; ++i) {
            expect(std::size_t(tables[i].length) <= capacities[i], "a length is within the capacity");
            const Bytes table = buffers[i].first(std::size_t(tables[i].length));
            all.insert(all.end(), table.begin(), table.end());
        }
        return all;
    }
};

template <typename Operation, typename Argument>
bool run(Operation *operation, const std::string &file, Argument argument) {
    int status = -1;
    const int result = operation(file.c_str(), argument, &status);
    expect(result == (status == 0 ? 0 : -1), "the result and the status agree");
    return result == 0;
}

}  // namespace

void fit(World &) {}

void try_input(const World &world, ByteView input) {
    const std::string file = world.put("eeprom", input);
    Payload first, again;
    if (run(x_sensor_eeprom_load_header, file, &first)) {
        const bool supported = std::strcmp(first.header[X_SENSOR_EEPROM_HEADER_VERSION], "s5l") == 0;
        expect(run(x_sensor_eeprom_check_header, file, first.hash) == supported, "a header has its own digest");
        expect(run(x_sensor_eeprom_store_header, file, &first) && run(x_sensor_eeprom_load_header, file, &again) &&
                   first.content() == again.content(),
               "a header that was read is stored and reads the same");
    }
    if (!run(x_sensor_eeprom_load, file, &first)) return;
    for (auto &text : first.header) std::strcpy(text, "s5l");
    if (!run(x_sensor_eeprom_store, file, &first)) return;
    expect(run(x_sensor_eeprom_load_header, file, &again) && run(x_sensor_eeprom_load, file, &again), "all is read");
    expect(first.content() == again.content(), "what was stored reads the same");
}

}  // namespace ostdrv::fuzz
