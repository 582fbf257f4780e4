// Sessions, objects and locks of the Trust X.
#include <algorithm>
#include <utility>

#include "session.hpp"
#include "trustx.h"

extern "C" const char __NEV[] = "never";

namespace ostdrv::sim::trustx {
namespace {

// The texts are handed out for changing, as the interface has it; nobody is expected to.
char never[] = "never";
char always[] = "always";

char *allowed(bool condition) { return condition ? always : never; }

// A piece that starts behind the used bytes would leave a hole of no content.
bool write_piece(Object &object, std::size_t used, std::size_t offset, const std::uint8_t *bytes, std::size_t length) {
    if (!object.writable() || offset > used || length > object.capacity() - offset) return false;
    object.content.resize(std::max(used, offset + length));
    std::copy_n(bytes, length, object.content.begin() + static_cast<std::ptrdiff_t>(offset));
    return true;
}

}  // namespace

extern "C" {

int trustX_Open(void) {
    const Call call(kind, "trustX_Open");
    return answer(call, open_session);
}

int trustX_Close(void) {
    const Call call(kind, "trustX_Close");
    // A close that fails has ended the session all the same.
    const bool closed = close_session();
    return answer(call, [&] { return closed; });
}

int trustX_lockStatus(uint16_t object_id, char **first, char **second, char **third) {
    const Call call(kind, "trustX_lockStatus", "0x%04x", object_id);
    return with_object(call, object_id, [&](const Object &object) {
        *first = allowed(!object.locked);
        *second = allowed(object.readable());
        *third = allowed(object.kind() == Kind::key);
        return true;
    });
}

int trustX_lockSlot(uint16_t object_id) {
    const Call call(kind, "trustX_lockSlot", "0x%04x", object_id);
    // The conditions of a locked object cannot be changed, not even to what they are.
    return with_object(call, object_id, [](Object &object) { return !std::exchange(object.locked, true); });
}

optiga_lib_status_t optiga_util_read_data(uint16_t object_id, uint16_t offset, uint8_t *buffer, uint16_t *length) {
    const Call call(kind, "optiga_util_read_data", "0x%04x, %u, %u", object_id, offset, length ? *length : 0);
    return with_object(call, object_id, [&](const Object &object) {
        if (!buffer || !length || !object.readable() || offset > object.content.size()) return false;
        const std::size_t count = std::min<std::size_t>(*length, object.content.size() - offset);
        std::copy_n(object.content.begin() + offset, count, buffer);
        *length = static_cast<uint16_t>(count);
        return true;
    });
}

optiga_lib_status_t optiga_util_write_data(uint16_t object_id, uint8_t write_type, uint16_t offset,
                                           const uint8_t *buffer, uint16_t length) {
    const Call call(kind, "optiga_util_write_data", "0x%04x, 0x%02x, %u, %u", object_id, write_type, offset, length);
    const bool erases = write_type == OPTIGA_UTIL_ERASE_AND_WRITE;
    return with_object(call, object_id, [&](Object &object) {
        if (!buffer || (!erases && write_type != OPTIGA_UTIL_WRITE_ONLY)) return false;
        return write_piece(object, erases ? 0 : object.content.size(), offset, buffer, length);
    });
}

}  // extern "C"

}  // namespace ostdrv::sim::trustx
