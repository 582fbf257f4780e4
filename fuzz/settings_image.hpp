// A checksum keeps nearly every mutation out of the settings store. An input that asks for it gets a right one.
#ifndef OSTDRV_FUZZ_SETTINGS_IMAGE_HPP
#define OSTDRV_FUZZ_SETTINGS_IMAGE_HPP

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace ostdrv::fuzz {

// Makes a region's header that of a whole image (sim/kset/include/kset.h). The image's length stays when it can be
// true.
inline void seal(std::span<std::uint8_t> region) {
    constexpr std::size_t length_at = 6, checksum_at = 10, header_size = 14;
    if (region.size() < header_size) return;
    std::memcpy(region.data(), "kset\x01\x00", length_at);
    std::uint32_t length;
    std::memcpy(&length, region.data() + length_at, sizeof length);
    if (length < header_size || length > region.size()) length = static_cast<std::uint32_t>(region.size());
    std::memcpy(region.data() + length_at, &length, sizeof length);
    const auto before = static_cast<std::uint32_t>(crc32_z(0, region.data(), checksum_at));
    const auto checksum =
        static_cast<std::uint32_t>(crc32_z(before, region.data() + header_size, length - header_size));
    std::memcpy(region.data() + checksum_at, &checksum, sizeof checksum);
}

}  // namespace ostdrv::fuzz

#endif
