// An open settings store: its declarations, their values, and the region they are kept in.
#ifndef OSTDRV_SIM_KSET_STORE_HPP
#define OSTDRV_SIM_KSET_STORE_HPP

#include <map>

#include "image.hpp"
#include "kset.h"

namespace ostdrv::sim::kset {

// Memory that runs out is thrown as std::bad_alloc; the store is as it was then.
class Store {
 public:
    static bool can_open(unsigned count, unsigned size, kset_read_fn reader, kset_write_fn writer);
    Store(unsigned count, unsigned size, kset_read_fn reader, kset_write_fn writer)
        : count_(count), size_(size), reader_(reader), writer_(writer) {}

    bool add_integer(int id, int minimum, int maximum, int initial);
    bool add_bytes(int id, int length, const std::uint8_t *initial);
    bool add_text(int id, int length, const char *initial);
    bool set_integer(int id, int value);
    bool set_bytes(int id, const std::uint8_t *value);
    bool set_text(int id, const char *value);
    // The value's bytes, a text with its terminator; null for what is not declared so.
    const std::uint8_t *value(int id, Kind kind) const;

    bool read();
    bool write();

    // A refused declaration or value: nothing may be read or stored any more.
    void spoil() { spoiled_ = true; }

 private:
    struct Setting {
        Kind kind;
        int minimum;  // of an integer
        int maximum;
        std::size_t length;  // of a value as stored; of a text, the bytes it may take with its terminator
        Bytes initial{};     // as stored
        Bytes value{};       // as stored, then zeros: a text's terminator, and never empty
    };

    unsigned count_;
    unsigned size_;
    kset_read_fn reader_;
    kset_write_fn writer_;
    bool spoiled_ = false;
    std::map<int, Setting> settings_;
    Bytes image_;  // as read last; empty for an erased region and before the first read

    static bool allows(const Setting &setting, const Entry &entry);
    static Bytes held(const Setting &setting, ByteView stored);
    static ByteView stored(const Setting &setting);
    bool add(int id, Setting setting, ByteView initial);
    bool set(int id, Kind kind, ByteView value);
    std::size_t length_of(int id, Kind kind) const;

    bool fetch_image();
    bool take_values(const std::map<unsigned, Entry> &entries);
    bool from_region(std::span<std::uint8_t> bytes) const;
    bool to_region(ByteView bytes) const;
};

}  // namespace ostdrv::sim::kset

#endif
