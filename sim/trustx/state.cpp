#include "state.hpp"

#include <algorithm>
#include <string_view>

#include "core/der.hpp"
#include "core/sealed_file.hpp"

namespace ostdrv::sim::trustx {
namespace {

using namespace std::string_view_literals;

// Behind the tag, for each object in the order of its identifier: 1 when it is locked, else 0; the used length in two
// bytes, big-endian; the used bytes.
constexpr auto tag = "ostdrv-trustx-1\n"sv;

std::string state_file() { return board_root() + "/trustx.state"; }

bool take_object(ByteView &rest, Object &object) {
    if (rest.size() < 3) return false;
    const std::size_t used = static_cast<std::size_t>(rest[1] << 8 | rest[2]);
    if (used > object.capacity() || used > rest.size() - 3) return false;
    object.locked = rest[0] != 0;
    object.content.assign(rest.begin() + 3, rest.begin() + 3 + static_cast<std::ptrdiff_t>(used));
    rest = rest.subspan(3 + used);
    return true;
}

}  // namespace

Kind Object::kind() const {
    if (id >= 0xF1D0) return Kind::data;
    return id >= 0xE0F0 ? Kind::key : Kind::certificate;
}

std::size_t Object::capacity() const {
    switch (kind()) {
        case Kind::certificate:
            return 1728;
        case Kind::data:
            return 140;
        default:
            return 1 + sizeof(PrivateKey);
    }
}

std::optional<StoredKey> StoredKey::of(const Object &object) {
    if (object.kind() != Kind::key || object.content.size() != object.capacity()) return std::nullopt;
    StoredKey key{object.content[0], {}};
    std::copy(object.content.begin() + 1, object.content.end(), key.number.begin());
    return key;
}

void StoredKey::put_into(Object &object) const {
    object.content.assign(1, usage);
    append(object.content, number);
}

State::State() {
    auto object = objects_.begin();
    for (std::uint16_t id = 0xE0E0; id <= 0xE0E3; ++id) (object++)->id = id;
    for (std::uint16_t id = 0xE0F0; id <= 0xE0F3; ++id) (object++)->id = id;
    for (std::uint16_t id = 0xF1D0; id <= 0xF1DF; ++id) (object++)->id = id;
}

std::optional<State> State::load() {
    State state;
    if (!path_exists(state_file())) return state;

    const auto bytes = open_sealed(state_file(), tag);
    if (!bytes) return std::nullopt;
    ByteView rest = *bytes;
    for (Object &object : state.objects_)
        if (!take_object(rest, object)) return std::nullopt;
    return rest.empty() ? std::optional(state) : std::nullopt;
}

bool State::save() const {
    Bytes bytes;
    for (const Object &object : objects_) {
        const std::size_t used = object.content.size();
        append(bytes, std::array<std::uint8_t, 3>{object.locked, static_cast<std::uint8_t>(used >> 8),
                                                  static_cast<std::uint8_t>(used)});
        append(bytes, object.content);
    }
    return seal(state_file(), tag, bytes);
}

Object *State::find(std::uint16_t id) {
    const auto found = std::ranges::find(objects_, id, &Object::id);
    return found == objects_.end() ? nullptr : &*found;
}

std::optional<PublicKey> State::public_key(std::uint16_t id) {
    const auto key = StoredKey::of(object(id));
    return key ? p256_public_key(key->number) : std::nullopt;
}

}  // namespace ostdrv::sim::trustx
