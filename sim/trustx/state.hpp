// What a Trust X keeps: its objects, how much each can hold, and what may be done with it; in the file trustx.state of
// the board's directory.
#ifndef OSTDRV_SIM_TRUSTX_STATE_HPP
#define OSTDRV_SIM_TRUSTX_STATE_HPP

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

    bool operator==(const Object &) const = default;
};

// A key object's content.
struct StoredKey {
    std::uint8_t usage;
    PrivateKey number;

    static std::optional<StoredKey> of(const Object &object);
    void put_into(Object &object) const;
};

class State {
 public:
    State();  // blank

    // Nothing when there is a state file that cannot be read, or a damaged one. The caller holds a StateLock.
    static std::optional<State> load();
    bool save() const;

    // Null for an identifier that the chip does not have.
    Object *find(std::uint16_t id);

    // Of objects that it has.
    Object &object(std::uint16_t id) { return *find(id); }
    Bytes content(std::uint16_t id) { return object(id).content; }
    // The public half of the key in a key object.
    std::optional<PublicKey> public_key(std::uint16_t id);

    bool operator==(const State &) const = default;

 private:
    std::array<Object, 24> objects_;
};

}  // namespace ostdrv::sim::trustx

#endif
