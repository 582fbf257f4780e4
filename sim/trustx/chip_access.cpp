#include "chip_access.hpp"

#include "core/fault_plan.hpp"
#include "objects.hpp"

namespace ostdrv::sim::trustx {

std::optional<Bytes> peek(std::uint16_t object_id) {
    Unseen unseen;
    std::optional<Bytes> bytes;
    with_object(object_id, [&](const Object &object) {
        if (object.readable()) bytes = object.content;
        return true;
    });
    return bytes;
}

bool poke(std::uint16_t object_id, ByteView bytes) {
    Unseen unseen;
    return change_object(object_id, [&](Object &object) {
        if (!object.readable() || bytes.size() > object.capacity()) return false;
        object.content.assign(bytes.begin(), bytes.end());
        return true;
    });
}

std::optional<bool> is_locked(std::uint16_t object_id) {
    Unseen unseen;
    std::optional<bool> locked;
    with_object(object_id, [&](const Object &object) {
        locked = object.locked;
        return true;
    });
    return locked;
}

bool set_locked(std::uint16_t object_id, bool locked) {
    Unseen unseen;
    return change_object(object_id, [&](Object &object) {
        object.locked = locked;
        return true;
    });
}

std::optional<PublicKey> public_key(std::uint16_t object_id) {
    Unseen unseen;
    std::optional<PublicKey> point;
    with_object(object_id, [&](const Object &object) {
        if (const auto key = StoredKey::of(object)) point = p256_public_key(key->number);
        return true;
    });
    return point;
}

}  // namespace ostdrv::sim::trustx
