#include "eeprom_access.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "error.hpp"
#include "progress.hpp"

namespace ostdrv::tool {
namespace {

constexpr std::size_t header_region_size = 256;

const char *meaning(int status) {
    switch (status) {
        case X_SENSOR_EEPROM_ERR_EMPTY:
            return "a header setting is empty: it is erased or was never stored";
        case X_SENSOR_EEPROM_ERR_DEVICE:
            return "no such EEPROM";
        case X_SENSOR_EEPROM_ERR_READ:
            return "it is damaged, or was not written by a store";
        case X_SENSOR_EEPROM_ERR_WRITE:
        case X_SENSOR_EEPROM_ERR_TOO_LARGE:
            return "the data does not fit";
        case X_SENSOR_EEPROM_ERR_PAYLOAD:
            return "the data is invalid";
        case X_SENSOR_EEPROM_ERR_HASH:
            return "it holds other tables";
        case X_SENSOR_EEPROM_ERR_VERSION:
            return "its data is of another version than " X_SENSOR_EEPROM_LAYOUT_VERSION;
        default:
            return "unknown status";
    }
}

std::string plural(std::size_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// What an operation on a region found there.
Region region_of(const Outcome &outcome, const std::string &file) {
    if (outcome.error != 0 || outcome.status == X_SENSOR_EEPROM_ERR_DEVICE)
        throw Failure("cannot read " + file + ": " + outcome.reason());
    if (outcome) return Region::whole;
    return outcome.status == X_SENSOR_EEPROM_ERR_EMPTY ? Region::blank : Region::damaged;
}

}  // namespace

Payload::Payload() : Owned(x_sensor_eeprom_payload_init()) {
    if (!get()) throw Failure("out of memory");
    // The constructor leaves them as they are.
    std::memset(get()->header, 0, sizeof get()->header);
    std::memset(get()->hash, 0, sizeof get()->hash);
}

Bytes md5_of(const std::vector<Bytes> &tables) {
    x_sensor_eeprom_md5_ctx context;
    x_sensor_eeprom_md5_init(&context);
    for (const Bytes &table : tables)
        x_sensor_eeprom_md5_update(&context, table.data(), static_cast<unsigned int>(table.size()));
    Bytes digest(md5_size);
    x_sensor_eeprom_md5_finalise(&context, digest.data());
    return digest;
}

std::string Outcome::reason() const {
    if (error != 0) return std::strerror(error);
    return std::string(meaning(status)) + " (status " + std::to_string(status) + ")";
}

EepromHeader header_of(const x_sensor_eeprom_payload &payload) {
    return {payload.header[X_SENSOR_EEPROM_HEADER_SENSOR], payload.header[X_SENSOR_EEPROM_HEADER_VERSION],
            payload.header[X_SENSOR_EEPROM_HEADER_LENS], payload.header[X_SENSOR_EEPROM_HEADER_SN],
            Bytes(payload.hash, payload.hash + md5_size)};
}

std::vector<Bytes> EepromContent::tables() const {
    std::vector<Bytes> tables;
    for (const StoredTable &table : stored) tables.push_back(table.bytes);
    return tables;
}

std::string EepromContent::tables_text() const {
    std::string sizes;
    for (const StoredTable &table : stored) sizes += (sizes.empty() ? "" : ", ") + std::to_string(table.bytes.size());
    return stored.empty() ? "no table" : plural(stored.size(), "table") + " (" + sizes + " bytes)";
}

Eeprom::Eeprom(const std::string &file, const LibraryOutput &library_output)
    : file_(file), library_output_(library_output) {
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) throw system_failure("cannot open " + file);
    size_ = static_cast<std::size_t>(status.st_size);
    if (!S_ISREG(status.st_mode))
        throw Failure(file + " is no EEPROM: the module's is a file such as /sys/bus/i2c/devices/1-0050/eeprom");
    if (size_ <= header_region_size)
        throw Failure(file + " is no EEPROM of a sensor module: it has " + plural(size_, "byte") +
                      ", its header alone " + std::to_string(header_region_size));
}

Outcome Eeprom::run(const std::string &what, const Operation &operation) const {
    const Progress progress(what + " " + file_);
    return library_output_.of([&] {
        Outcome outcome;
        errno = 0;
        outcome.result = operation(file_.c_str(), &outcome.status);
        if (!outcome) outcome.error = errno;
        return outcome;
    });
}

void Eeprom::require(const std::string &what, const Operation &operation) const {
    if (const Outcome outcome = run(what, operation); !outcome)
        throw Failure(what + " " + file_ + " failed: " + outcome.reason());
}

EepromContent Eeprom::content(const std::vector<std::string> &names) const {
    EepromContent content;
    const Payload owned;
    x_sensor_eeprom_payload &payload = *owned;
    const Outcome header = run("reading the header of", [&](const char *file, int *status) {
        return x_sensor_eeprom_load_header(file, &payload, status);
    });
    content.header_region = region_of(header, file_);
    if (header) content.header = header_of(payload);
    std::size_t slot = 0;
    for (x_sensor_eeprom_table &table : payload.tables) {
        const std::string name = slot < names.size() ? names[slot] : "slot-" + std::to_string(slot);
        std::snprintf(table.name, sizeof table.name, "%s", name.c_str());
        ++slot;
    }
    const Outcome loaded = run("reading the tables of", [&](const char *file, int *status) {
        return x_sensor_eeprom_load(file, &payload, status);
    });
    content.table_region = region_of(loaded, file_);
    if (!loaded) return content;
    for (slot = 0; slot < std::size(payload.tables); ++slot) {
        const x_sensor_eeprom_table &table = payload.tables[slot];
        if (table.length > 0)
            content.stored.push_back({static_cast<int>(slot), Bytes(table.data, table.data + table.length)});
    }
    if (content.stored.empty()) content.table_region = Region::blank;
    return content;
}

void Eeprom::erase() const {
    require("erasing", x_sensor_eeprom_reset);
    Bytes bytes(size_);
    require("reading", [&](const char *file, int *) {
        return x_sysfs_read_bytes(file, bytes.data(), 0, static_cast<unsigned int>(bytes.size()));
    });
    if (std::ranges::count(bytes, 0xFF) != static_cast<std::ptrdiff_t>(bytes.size()))
        throw Failure(file_ + " took the erasure and still holds data; is it write-protected?");
}

}  // namespace ostdrv::tool
