#include "sealed_file.hpp"

#include <algorithm>

#include "board_state.hpp"
#include "der.hpp"

namespace ostdrv::sim {

std::optional<Bytes> open_sealed(const std::string &path, std::string_view tag) {
    const auto file = read_file(path);
    if (!file || file->size() < tag.size() + sizeof(Digest)) return std::nullopt;
    const ByteView sealed = ByteView(*file).first(file->size() - sizeof(Digest));
    const auto digest = sha256(sealed);
    if (!digest || !std::ranges::equal(*digest, ByteView(*file).last(sizeof(Digest)))) return std::nullopt;
    if (!std::equal(tag.begin(), tag.end(), sealed.begin(), [](char a, std::uint8_t b) { return a == char(b); }))
        return std::nullopt;
    return Bytes(sealed.begin() + static_cast<std::ptrdiff_t>(tag.size()), sealed.end());
}

bool seal(const std::string &path, std::string_view tag, ByteView state) {
    Bytes file(tag.begin(), tag.end());
    append(file, state);
    const auto digest = sha256(file);
    if (!digest) return false;
    append(file, *digest);
    return replace_file(path, file);
}

}  // namespace ostdrv::sim
