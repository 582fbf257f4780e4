// The bytes that a settings store keeps in its region; kset.h describes them.
#ifndef OSTDRV_SIM_KSET_IMAGE_HPP
#define OSTDRV_SIM_KSET_IMAGE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace ostdrv::sim::kset {

enum class Kind : std::uint8_t { integer = 1, bytes = 2, text = 3 };

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline constexpr std::size_t magic_size = 4;
inline constexpr std::size_t header_size = 14;
inline constexpr std::size_t entry_header_size = 5;

using Header = std::array<std::uint8_t, header_size>;

struct Entry {
    Kind kind;
    ByteView value;
};

std::uint32_t little_endian(ByteView bytes);
void append_little_endian(Bytes &to, std::uint32_t value, std::size_t size);

// Builds an image. Entries are appended in ascending order of identifiers.
class ImageWriter {
 public:
    ImageWriter() : image_(header_size) {}
    void append(unsigned id, const Entry &entry);
    // The whole image, still under the magic of an unfinished one.
    Bytes unfinished() &&;

 private:
    Bytes image_;
};

// What makes an unfinished image whole when written over its start.
ByteView finishing_magic();

bool is_erased(const Header &header);

// The length that a whole image's header announces; nothing when it is not such a header.
std::optional<std::size_t> announced_length(const Header &header);

// The settings of a whole image by identifier, as views into it; nothing when the image is damaged.
std::optional<std::map<unsigned, Entry>> entries_of(ByteView image);

}  // namespace ostdrv::sim::kset

#endif
