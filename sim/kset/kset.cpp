// The C interface of the settings store.
#include "kset.h"

#include <optional>

#include "core/c_border.hpp"
#include "store.hpp"

namespace ostdrv::sim::kset {
namespace {

constexpr auto kind = CallKind::platform;

std::optional<Store> open_store;

template <typename Action>
int attempt(const Call &call, Action action) {
    return answered<int>(call, -1, [&] { return open_store && action(*open_store) ? 0 : -1; });
}

// A declaration or a value, whose refusal nobody may be looking at.
template <typename Action>
int change(const Call &call, Action action) {
    const int result = attempt(call, action);
    if (result != 0 && open_store) open_store->spoil();
    return result;
}

const std::uint8_t *value_of(const Call &call, int id, Kind value_kind) {
    return !call.fails() && open_store ? open_store->value(id, value_kind) : nullptr;
}

}  // namespace

extern "C" {

int kset_init(unsigned int count, unsigned int size, int reserved, kset_read_fn read, kset_write_fn write) {
    Call call(kind, "kset_init", "%u, %u, %d", count, size, reserved);
    open_store.reset();
    return answered<int>(call, -1, [&] {
        if (!Store::can_open(count, size, read, write)) return -1;
        open_store.emplace(count, size, read, write);
        return 0;
    });
}

int kset_add_int(int id, const char *name, int minimum, int maximum, int default_value) {
    Call call(kind, "kset_add_int", "%d, %s, %d, %d, %d", id, name, minimum, maximum, default_value);
    return change(call, [&](Store &store) { return name && store.add_integer(id, minimum, maximum, default_value); });
}

int kset_add_hex(int id, const char *name, int length, const uint8_t *default_value) {
    Call call(kind, "kset_add_hex", "%d, %s, %d", id, name, length);
    return change(call, [&](Store &store) { return name && store.add_bytes(id, length, default_value); });
}

int kset_add_string(int id, const char *name, int length, const char *default_value) {
    Call call(kind, "kset_add_string", "%d, %s, %d, '%s'", id, name, length, default_value);
    return change(call, [&](Store &store) { return name && store.add_text(id, length, default_value); });
}

int kset_read(void) {
    Call call(kind, "kset_read");
    return attempt(call, [](Store &store) { return store.read(); });
}

int kset_write(void) {
    Call call(kind, "kset_write");
    return attempt(call, [](Store &store) { return store.write(); });
}

// An integer has no value that stands for a failure, so a plan for this one names the value.
int kset_get_int(int id) {
    Call call(kind, "kset_get_int", "%d", id);
    if (call.fails()) return static_cast<int>(call.result(0));
    const std::uint8_t *value = open_store ? open_store->value(id, Kind::integer) : nullptr;
    return value ? static_cast<int>(little_endian({value, 4})) : 0;
}

const uint8_t *kset_get_hex(int id) {
    Call call(kind, "kset_get_hex", "%d", id);
    return value_of(call, id, Kind::bytes);
}

const char *kset_get_string(int id) {
    Call call(kind, "kset_get_string", "%d", id);
    return reinterpret_cast<const char *>(value_of(call, id, Kind::text));
}

int kset_set_int(int id, int value) {
    Call call(kind, "kset_set_int", "%d, %d", id, value);
    return change(call, [&](Store &store) { return store.set_integer(id, value); });
}

int kset_set_hex(int id, const uint8_t *value) {
    Call call(kind, "kset_set_hex", "%d", id);
    return change(call, [&](Store &store) { return store.set_bytes(id, value); });
}

int kset_set_string(int id, const char *value) {
    Call call(kind, "kset_set_string", "%d", id);
    return change(call, [&](Store &store) { return store.set_text(id, value); });
}

void kset_shutdown(void) {
    Call call(kind, "kset_shutdown");
    open_store.reset();
}

}  // extern "C"

}  // namespace ostdrv::sim::kset
