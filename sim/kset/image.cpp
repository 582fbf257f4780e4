#include "image.hpp"

#include <zlib.h>

#include <algorithm>

namespace ostdrv::sim::kset {
namespace {

constexpr std::array<std::uint8_t, magic_size> magic{'k', 's', 'e', 't'};
// Neither 0x00 nor 0xFF: an interrupted write must not look like an erased region.
constexpr std::array<std::uint8_t, magic_size> unfinished_magic{'.', '.', '.', '.'};
constexpr std::uint32_t version = 1;
constexpr std::size_t version_at = 4;
constexpr std::size_t length_at = 6;
constexpr std::size_t checksum_at = 10;

void put_little_endian(std::span<std::uint8_t> to, std::uint32_t value) {
    for (std::uint8_t &byte : to) {
        byte = static_cast<std::uint8_t>(value);
        value >>= 8;
    }
}

// As if the image were whole already, so that finishing it changes the magic alone.
std::uint32_t checksum(ByteView image) {
    const ByteView fields = image.subspan(magic_size, checksum_at - magic_size);
    const ByteView entries = image.subspan(header_size);
    uLong crc = crc32_z(0, magic.data(), magic.size());
    crc = crc32_z(crc, fields.data(), fields.size());
    return static_cast<std::uint32_t>(crc32_z(crc, entries.data(), entries.size()));
}

bool has_checksum(ByteView image) { return little_endian(image.subspan(checksum_at, 4)) == checksum(image); }

}  // namespace

std::uint32_t little_endian(ByteView bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
    return value;
}

void append_little_endian(Bytes &to, std::uint32_t value, std::size_t size) {
    to.resize(to.size() + size);
    put_little_endian(std::span(to).last(size), value);
}

void ImageWriter::append(unsigned id, const Entry &entry) {
    append_little_endian(image_, id, 2);
    image_.push_back(static_cast<std::uint8_t>(entry.kind));
    append_little_endian(image_, static_cast<std::uint32_t>(entry.value.size()), 2);
    image_.insert(image_.end(), entry.value.begin(), entry.value.end());
}

Bytes ImageWriter::unfinished() && {
    const std::span<std::uint8_t> image(image_);
    std::ranges::copy(unfinished_magic, image.begin());
    put_little_endian(image.subspan(version_at, 2), version);
    put_little_endian(image.subspan(length_at, 4), static_cast<std::uint32_t>(image.size()));
    put_little_endian(image.subspan(checksum_at, 4), checksum(image));
    return std::move(image_);
}

ByteView finishing_magic() { return magic; }

bool is_erased(const Header &header) {
    const auto is_all = [&](std::uint8_t value) { return std::ranges::count(header, value) == header_size; };
    return is_all(0xFF) || is_all(0x00);
}

std::optional<std::size_t> announced_length(const Header &header) {
    const ByteView fields(header);
    if (!std::ranges::equal(fields.first(magic_size), magic)) return std::nullopt;
    if (little_endian(fields.subspan(version_at, 2)) != version) return std::nullopt;
    return little_endian(fields.subspan(length_at, 4));
}

std::optional<std::map<unsigned, Entry>> entries_of(ByteView image) {
    if (image.size() < header_size || !has_checksum(image)) return std::nullopt;
    std::map<unsigned, Entry> entries;
    for (ByteView rest = image.subspan(header_size); !rest.empty();) {
        if (rest.size() < entry_header_size) return std::nullopt;
        const unsigned id = little_endian(rest.first(2));
        const Kind kind{rest[2]};
        const std::size_t length = little_endian(rest.subspan(3, 2));
        rest = rest.subspan(entry_header_size);
        if (length > rest.size() || !entries.try_emplace(id, Entry{kind, rest.first(length)}).second)
            return std::nullopt;
        rest = rest.subspan(length);
    }
    return entries;
}

}  // namespace ostdrv::sim::kset
