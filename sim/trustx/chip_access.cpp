#include "chip_access.hpp"

#include "core/fault_plan.hpp"
#include "objects.hpp"
#include "trustx.h"

namespace ostdrv::sim::trustx {

bool make_blank() {
    Unseen unseen;
    const StateLock lock;
    return lock.held() && Objects().save();
}

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

bool import_key(std::uint16_t object_id, const PrivateKey &key) {
    Unseen unseen;
    return change_object(object_id, [&](Object &object) {
        if (object.kind() != Kind::key || !p256_public_key(key)) return false;
        StoredKey{OPTIGA_KEY_USAGE_AUTHENTICATION | OPTIGA_KEY_USAGE_ENCRYPTION | OPTIGA_KEY_USAGE_SIGN, key}.put_into(
            object);
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
