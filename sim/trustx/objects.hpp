// The Trust X's objects: what each holds, how much it can hold, and what may be done with it.
#ifndef OSTDRV_SIM_TRUSTX_OBJECTS_HPP
#define OSTDRV_SIM_TRUSTX_OBJECTS_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/board_state.hpp"
#include "core/crypto.hpp"

namespace ostdrv::sim::trustx {

enum class Kind { certificate, key, data };

struct Object {
    std::uint16_t id = 0;
    Bytes content{};  // the used bytes; of a key object its usage bits and the private key, or nothing
    bool locked = false;

    Kind kind() const;
    std::size_t capacity() const;
    bool readable() const { return kind() != Kind::key; }
    bool writable() const { return kind() != Kind::key && !locked; }
};

// A key object's content.
struct StoredKey {
    std::uint8_t usage;
    PrivateKey number;

    static std::optional<StoredKey> of(const Object &object);
    void put_into(Object &object) const;
};

// All objects of the chip, as $ROOT/trustx.state keeps them. A board without that file has a blank chip.
class Objects {
 public:
    Objects();  // blank

    // Nothing when there is a state file that cannot be read, or a damaged one.
    static std::optional<Objects> load();
    bool save() const;

    Object *find(std::uint16_t id);

 private:
    std::array<Object, 24> objects_;
};

// Runs `use` on an object. False when the chip has no such object, its state is damaged, or `use` says so.
template <typename Use>
bool with_object(std::uint16_t id, Use use) {
    const StateLock lock;
    auto objects = lock.held() ? Objects::load() : std::nullopt;
    Object *const object = objects ? objects->find(id) : nullptr;
    return object && use(*object);
}

// The same, and the chip keeps the change that `use` made. Nothing changes when the result is false.
template <typename Change>
bool change_object(std::uint16_t id, Change change) {
    const StateLock lock;
    auto objects = lock.held() ? Objects::load() : std::nullopt;
    Object *const object = objects ? objects->find(id) : nullptr;
    return object && change(*object) && objects->save();
}

}  // namespace ostdrv::sim::trustx

#endif
