// The sensor module's EEPROM, loaded, checked and stored again. The lowest two bits of the input's first byte ask for
// right checksums in the header and the calibration region; the file follows.
#include "settings_image.hpp"
#include "world.hpp"

using namespace ostdrv::fuzz;

namespace {

constexpr std::size_t header_region = 256;
constexpr std::size_t slots = 3;

// A payload that asks for the tables of the first slots, each with a buffer of another size.
class Payload {
 public:
    Payload() {
        for (std::size_t i = 0; i < slots; ++i) {
            x_sensor_eeprom_table &table = slot(i);
            table.name[0] = 't';
            table.data = buffers_[i].data();
            table.capacity = static_cast<std::uint32_t>(capacities[i]);
            table.length = -1;
        }
    }
    x_sensor_eeprom_payload *get() { return &payload_; }
    ByteView hash() const { return payload_.hash; }
    const char *version() const { return payload_.header[X_SENSOR_EEPROM_HEADER_VERSION]; }
    bool header_is(std::uint8_t filling) const {
        const ByteView texts(reinterpret_cast<const std::uint8_t *>(payload_.header), sizeof payload_.header);
        const auto filled = [&](std::uint8_t byte) { return byte == filling; };
        return std::ranges::all_of(texts, filled) && std::ranges::all_of(hash(), filled);
    }
    void fill_header(std::uint8_t filling) {
        std::memset(payload_.header, filling, sizeof payload_.header);
        std::memset(payload_.hash, filling, sizeof payload_.hash);
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (int id = X_SENSOR_EEPROM_HEADER_SENSOR; id <= X_SENSOR_EEPROM_HEADER_SN; ++id) {
            const char *const text = payload_.header[id];
            all.emplace_back(text, strnlen(text, sizeof payload_.header[id]));
            expect(!all.back().empty() && all.back().size() < 32, "a header text has 1 to 31 characters");
        }
        return all;
    }
    // The tables' bytes; every buffer is untouched behind them.
    std::vector<Bytes> tables() {
        std::vector<Bytes> all;
        for (std::size_t i = 0; i < slots; ++i) {
            const std::int32_t length = slot(i).length;
            expect(length >= 0 && static_cast<std::size_t>(length) <= capacities[i], "a length is within the capacity");
            const auto used = static_cast<std::size_t>(length);
            expect(buffers_[i].is_untouched(used), "nothing is written behind a table");
            const ByteView bytes = buffers_[i].first(used);
            all.emplace_back(bytes.begin(), bytes.end());
        }
        return all;
    }

 private:
    static constexpr std::size_t capacities[slots] = {16, 100, X_SENSOR_EEPROM_TABLE_CAPACITY};
    x_sensor_eeprom_table &slot(std::size_t i) { return payload_.tables[i]; }
    x_sensor_eeprom_payload payload_{};
    Output buffers_[slots]{Output(capacities[0]), Output(capacities[1]), Output(capacities[2])};
};

class Eeprom {
 public:
    Eeprom(const World &world, ByteView bytes) : file_(world.put("eeprom", bytes)) {}

    void check_header() const {
        Payload payload;
        payload.fill_header(0x5A);
        if (!run(x_sensor_eeprom_load_header, payload.get())) {
            expect(status_ == 12 || status_ == 4, "a header is read, unreadable or empty");
            expect(payload.header_is(0x5A), "a failure leaves the payload's header alone");
            return;
        }
        payload.texts();
        const bool supported = std::strcmp(payload.version(), "s5l") == 0;
        Bytes digest(payload.hash().begin(), payload.hash().end());
        run(x_sensor_eeprom_check_header, digest.data());
        expect(status_ == (supported ? 0 : 18), "the header's own digest is found");
        digest[0] ^= 1;
        run(x_sensor_eeprom_check_header, digest.data());
        expect(status_ == (supported ? 17 : 18), "another digest is not");
        expect(run(x_sensor_eeprom_store_header, payload.get()), "a header that was read can be stored");
        Payload again;
        expect(run(x_sensor_eeprom_load_header, again.get()), "what was stored can be read");
        expect(again.texts() == payload.texts() && std::ranges::equal(again.hash(), payload.hash()),
               "what was stored reads the same");
    }

    void check_tables() const {
        Payload payload;
        if (!run(x_sensor_eeprom_load, payload.get())) {
            expect(status_ == 12, "tables are read or unreadable");
            return;
        }
        const std::vector<Bytes> tables = payload.tables();
        Payload again;
        expect(run(x_sensor_eeprom_load, again.get()) && again.tables() == tables, "a second load gives the same");
        if (std::ranges::any_of(tables, [](const Bytes &table) { return table.empty(); })) return;

        for (auto &text : payload.get()->header) std::strcpy(text, "s5l");
        if (!run(x_sensor_eeprom_store, payload.get())) return;
        expect(payload.tables() == tables, "storing changes no table");
        expect(run(x_sensor_eeprom_check_header, payload.hash().data()), "the header has the tables' digest");
    }

 private:
    template <typename Operation, typename Argument>
    bool run(Operation *operation, Argument argument) const {
        status_ = -1;
        const int result = operation(file_.c_str(), argument, &status_);
        expect(result == (status_ == 0 ? 0 : -1), "the result and the status agree");
        return result == 0;
    }
    std::string file_;
    mutable int status_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const World world({.chip = "none"});
    const NothingLeftOpen nothing_left_open;
    if (size == 0) return 0;
    Bytes file(data + 1, data + size);
    const std::size_t border = std::min(file.size(), header_region);
    if (data[0] & 1) seal(std::span(file).first(border));
    if (data[0] & 2) seal(std::span(file).subspan(border));
    const Eeprom eeprom(world, file);
    eeprom.check_header();
    eeprom.check_tables();
    return 0;
}
