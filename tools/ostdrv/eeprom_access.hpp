// The sensor module's EEPROM through the library: each operation succeeds or says why not.
#ifndef OSTDRV_TOOLS_EEPROM_ACCESS_HPP
#define OSTDRV_TOOLS_EEPROM_ACCESS_HPP

#include <ostdrv.h>

#include <functional>
#include <string>
#include <vector>

#include "bytes.hpp"
#include "library_output.hpp"
#include "support/owned.hpp"

namespace ostdrv::tool {

inline constexpr std::size_t md5_size = 16;

class Payload : public Owned<x_sensor_eeprom_payload *, x_sensor_eeprom_payload_free> {
 public:
    Payload();
    x_sensor_eeprom_payload &operator*() const { return *get(); }
    x_sensor_eeprom_payload *operator->() const { return get(); }
};

// The tables' digest as the library makes it, and one table's.
Bytes md5_of(const std::vector<Bytes> &tables);

// How an operation of the library ended, with the reason that the system gave if it was the system that refused.
struct Outcome {
    int result = 0, status = X_SENSOR_EEPROM_OK;
    int error = 0;  // errno

    explicit operator bool() const { return result == 0; }
    std::string reason() const;
};

// A table and the slot that it stands in.
struct StoredTable {
    int slot;
    Bytes bytes;
};

// What one of the EEPROM's two regions holds. A damaged one is what a power cut leaves, or somebody else's.
enum class Region { blank, whole, damaged };

struct EepromHeader {
    std::string sensor, version, lens, sn;
    Bytes md5;

    bool operator==(const EepromHeader &) const = default;
};
EepromHeader header_of(const x_sensor_eeprom_payload &payload);

struct EepromContent {
    Region header_region = Region::blank, table_region = Region::blank;
    EepromHeader header;  // when it is whole
    std::vector<StoredTable> stored;

    std::vector<Bytes> tables() const;
    bool is_verified() const { return header_region == Region::whole && header.md5 == md5_of(tables()); }
    // "2 tables (100, 200 bytes)".
    std::string tables_text() const;
};

class Eeprom {
 public:
    // A Failure when there is no such file or it cannot be an EEPROM.
    Eeprom(const std::string &file, const LibraryOutput &library_output);

    std::size_t size() const { return size_; }

    // Runs one of the library's operations. `what` is shown while it takes long.
    using Operation = std::function<int(const char *file, int *status)>;
    Outcome run(const std::string &what, const Operation &operation) const;
    // The same; whatever goes wrong is a Failure.
    void require(const std::string &what, const Operation &operation) const;

    // All that is there, whatever the slots. A Failure only when the device cannot be read. The names are those that
    // the library's own lines show: none are kept in the EEPROM.
    EepromContent content(const std::vector<std::string> &names = {}) const;
    // A Failure unless each byte is erased afterwards.
    void erase() const;

 private:
    const std::string file_;
    const LibraryOutput &library_output_;
    std::size_t size_ = 0;
};

}  // namespace ostdrv::tool

#endif
