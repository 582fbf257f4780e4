#include "store.hpp"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/fault_plan.hpp"

namespace ostdrv::sim::kset {
namespace {

constexpr std::size_t integer_size = 4;

Bytes encoded(int value) {
    Bytes bytes;
    append_little_endian(bytes, static_cast<std::uint32_t>(value), integer_size);
    return bytes;
}

int decoded(ByteView bytes) { return static_cast<int>(little_endian(bytes)); }

// At most `limit` characters, so that a text without an end is seen as one that is too long.
ByteView text_bytes(const char *text, std::size_t limit) {
    return {reinterpret_cast<const std::uint8_t *>(text), strnlen(text, limit)};
}

bool is_length(int length, int least) { return length >= least && length <= KSET_MAX_LENGTH; }

}  // namespace

bool Store::can_open(unsigned count, unsigned size, kset_read_fn reader, kset_write_fn writer) {
    return count >= 1 && count <= USHRT_MAX && size >= header_size && size <= INT_MAX && reader && writer;
}

// Declarations and values

bool Store::allows(const Setting &setting, const Entry &entry) {
    if (entry.kind != setting.kind) return false;
    switch (setting.kind) {
        case Kind::integer: {
            if (entry.value.size() != integer_size) return false;
            const int value = decoded(entry.value);
            return value >= setting.minimum && value <= setting.maximum;
        }
        case Kind::bytes:
            return entry.value.size() == setting.length;
        case Kind::text:
            return entry.value.size() < setting.length && std::ranges::count(entry.value, 0) == 0;
    }
    return false;
}

Bytes Store::held(const Setting &setting, ByteView stored) {
    Bytes value(setting.length + 1);
    std::ranges::copy(stored, value.begin());
    return value;
}

ByteView Store::stored(const Setting &setting) {
    if (setting.kind != Kind::text) return ByteView(setting.value).first(setting.length);
    return text_bytes(reinterpret_cast<const char *>(setting.value.data()), setting.length);
}

bool Store::add(int id, Setting setting, ByteView initial) {
    if (id < 1 || static_cast<unsigned>(id) > count_ || !allows(setting, {setting.kind, initial})) return false;
    setting.initial.assign(initial.begin(), initial.end());
    setting.value = held(setting, initial);
    return settings_.try_emplace(id, std::move(setting)).second;
}

bool Store::add_integer(int id, int minimum, int maximum, int initial) {
    return add(id, {Kind::integer, minimum, maximum, integer_size}, encoded(initial));
}

bool Store::add_bytes(int id, int length, const std::uint8_t *initial) {
    if (!is_length(length, 0)) return false;
    const auto size = static_cast<std::size_t>(length);
    const Bytes zeros(size);
    return add(id, {Kind::bytes, 0, 0, size}, initial ? ByteView(initial, size) : zeros);
}

bool Store::add_text(int id, int length, const char *initial) {
    if (!is_length(length, 1) || !initial) return false;
    const auto size = static_cast<std::size_t>(length);
    return add(id, {Kind::text, 0, 0, size}, text_bytes(initial, size));
}

bool Store::set(int id, Kind kind, ByteView value) {
    const auto found = settings_.find(id);
    if (found == settings_.end() || !allows(found->second, {kind, value})) return false;
    found->second.value = held(found->second, value);
    return true;
}

std::size_t Store::length_of(int id, Kind kind) const {
    const auto found = settings_.find(id);
    return found != settings_.end() && found->second.kind == kind ? found->second.length : 0;
}

bool Store::set_integer(int id, int value) { return set(id, Kind::integer, encoded(value)); }

bool Store::set_bytes(int id, const std::uint8_t *value) {
    return value && set(id, Kind::bytes, {value, length_of(id, Kind::bytes)});
}

bool Store::set_text(int id, const char *value) {
    return value && set(id, Kind::text, text_bytes(value, length_of(id, Kind::text)));
}

const std::uint8_t *Store::value(int id, Kind kind) const {
    const auto found = settings_.find(id);
    return found != settings_.end() && found->second.kind == kind ? found->second.value.data() : nullptr;
}

// The region

bool Store::from_region(std::span<std::uint8_t> bytes) const {
    Uncovered caller;
    return reader_(bytes.data(), static_cast<unsigned>(bytes.size())) == 0;
}

bool Store::to_region(ByteView bytes) const {
    Uncovered caller;
    return writer_(bytes.data(), static_cast<unsigned>(bytes.size())) == 0;
}

bool Store::fetch_image() {
    Header header{};
    if (!from_region(header)) return false;
    if (!image_.empty() && std::equal(header.begin(), header.end(), image_.begin())) return true;

    image_.clear();
    if (is_erased(header)) return true;
    const std::size_t largest = std::min<std::size_t>(
        size_, header_size + static_cast<std::size_t>(count_) * (entry_header_size + KSET_MAX_LENGTH));
    const std::size_t length = announced_length(header).value_or(0);
    if (length < header_size || length > largest) return false;

    image_.resize(length);
    const bool fetched = from_region(image_);
    if (!fetched) image_.clear();
    return fetched;
}

bool Store::take_values(const std::map<unsigned, Entry> &entries) {
    auto settings = settings_;
    for (auto &[id, setting] : settings) {
        const auto found = entries.find(static_cast<unsigned>(id));
        const bool absent = found == entries.end();
        if (!absent && !allows(setting, found->second)) return false;
        setting.value = held(setting, absent ? ByteView(setting.initial) : found->second.value);
    }
    settings_ = std::move(settings);
    return true;
}

bool Store::read() {
    if (spoiled_ || !fetch_image()) return false;
    if (image_.empty()) return take_values({});

    const auto entries = entries_of(image_);
    const bool whole =
        entries && (entries->empty() || (entries->begin()->first >= 1 && entries->rbegin()->first <= count_));
    if (!whole) image_.clear();
    return whole && take_values(*entries);
}

bool Store::write() {
    image_.clear();
    if (spoiled_) return false;

    ImageWriter writer;
    for (const auto &[id, setting] : settings_)
        writer.append(static_cast<unsigned>(id), {setting.kind, stored(setting)});
    const Bytes image = std::move(writer).unfinished();
    return image.size() <= size_ && to_region(image) && to_region(finishing_magic());
}

}  // namespace ostdrv::sim::kset
