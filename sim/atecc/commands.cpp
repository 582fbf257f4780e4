// The host library's functions, each one command of the chip.
#include <algorithm>

#include "session.hpp"

namespace ostdrv::sim::atecc {
namespace {

template <typename Array>
Array take(const std::uint8_t *from) {
    Array array;
    std::copy_n(from, array.size(), array.begin());
    return array;
}

// Hands a command's result to the caller, only when it succeeded.
template <typename Array, typename Command>
ATCA_STATUS give(std::uint8_t *to, Command command) {
    Array array;
    const ATCA_STATUS status = command(array);
    if (status == ATCA_SUCCESS) std::ranges::copy(array, to);
    return status;
}

}  // namespace

extern "C" {

// Zones

ATCA_STATUS atcab_read_config_zone(uint8_t *config_data) {
    const Call call(kind, "atcab_read_config_zone");
    return answer(call, config_data,
                  [&](Chip &chip) { return chip.read(ATCA_ZONE_CONFIG, 0, 0, std::span(config_data, 128)); });
}

ATCA_STATUS atcab_write_config_zone(const uint8_t *config_data) {
    const Call call(kind, "atcab_write_config_zone");
    return answer(call, config_data,
                  [&](Chip &chip) { return chip.write_config(std::span<const std::uint8_t, 128>(config_data, 128)); });
}

ATCA_STATUS atcab_get_zone_size(uint8_t zone, uint16_t slot, size_t *size) {
    const Call call(kind, "atcab_get_zone_size", "%u, %u", zone, slot);
    return answer(call, size, [&](Chip &) { return Chip::zone_size(zone, slot, *size); });
}

ATCA_STATUS atcab_read_bytes_zone(uint8_t zone, uint16_t slot, size_t offset, uint8_t *data, size_t length) {
    const Call call(kind, "atcab_read_bytes_zone", "%u, %u, %zu, %zu", zone, slot, offset, length);
    return answer(call, data, [&](Chip &chip) { return chip.read(zone, slot, offset, std::span(data, length)); });
}

ATCA_STATUS atcab_write_bytes_zone(uint8_t zone, uint16_t slot, size_t offset, const uint8_t *data, size_t length) {
    const Call call(kind, "atcab_write_bytes_zone", "%u, %u, %zu, %zu", zone, slot, offset, length);
    return answer(call, data, [&](Chip &chip) { return chip.write(zone, slot, offset, ByteView(data, length)); });
}

// Locks

ATCA_STATUS atcab_lock_config_zone(void) {
    const Call call(kind, "atcab_lock_config_zone");
    return answer(call, true, [](Chip &chip) { return chip.lock_config(); });
}

ATCA_STATUS atcab_lock_data_zone(void) {
    const Call call(kind, "atcab_lock_data_zone");
    return answer(call, true, [](Chip &chip) { return chip.lock_data(); });
}

ATCA_STATUS atcab_lock_data_slot(uint16_t slot) {
    const Call call(kind, "atcab_lock_data_slot", "%u", slot);
    return answer(call, true, [&](Chip &chip) { return chip.lock_slot(slot); });
}

ATCA_STATUS atcab_is_locked(uint8_t zone, bool *is_locked) {
    const Call call(kind, "atcab_is_locked", "%u", zone);
    return answer(call, is_locked && zone <= LOCK_ZONE_DATA, [&](Chip &chip) {
        *is_locked = zone == LOCK_ZONE_CONFIG ? chip.config_locked() : chip.data_locked();
        return ATCA_SUCCESS;
    });
}

ATCA_STATUS atcab_is_slot_locked(uint16_t slot, bool *is_locked) {
    const Call call(kind, "atcab_is_slot_locked", "%u", slot);
    return answer(call, is_locked && slot < slot_count, [&](Chip &chip) {
        *is_locked = chip.slot_locked(slot);
        return ATCA_SUCCESS;
    });
}

// Keys

ATCA_STATUS atcab_genkey(uint16_t key_id, uint8_t *public_key) {
    const Call call(kind, "atcab_genkey", "%u", key_id);
    return answer(call, public_key, [&](Chip &chip) {
        return give<PublicKey>(public_key, [&](PublicKey &key) { return chip.generate_key(key_id, key); });
    });
}

ATCA_STATUS atcab_get_pubkey(uint16_t key_id, uint8_t *public_key) {
    const Call call(kind, "atcab_get_pubkey", "%u", key_id);
    return answer(call, public_key, [&](Chip &chip) {
        return give<PublicKey>(public_key, [&](PublicKey &key) { return chip.public_key(key_id, key); });
    });
}

ATCA_STATUS atcab_read_pubkey(uint16_t slot, uint8_t *public_key) {
    const Call call(kind, "atcab_read_pubkey", "%u", slot);
    return answer(call, public_key, [&](Chip &chip) {
        return chip.read(ATCA_ZONE_DATA, slot, 0, std::span(public_key, sizeof(PublicKey)));
    });
}

ATCA_STATUS atcab_write_pubkey(uint16_t slot, const uint8_t *public_key) {
    const Call call(kind, "atcab_write_pubkey", "%u", slot);
    return answer(call, public_key, [&](Chip &chip) {
        return chip.write(ATCA_ZONE_DATA, slot, 0, ByteView(public_key, sizeof(PublicKey)));
    });
}

ATCA_STATUS atcab_sign(uint16_t key_id, const uint8_t *message, uint8_t *signature) {
    const Call call(kind, "atcab_sign", "%u", key_id);
    return answer(call, message && signature, [&](Chip &chip) {
        return give<Signature>(signature,
                               [&](Signature &made) { return chip.sign(key_id, take<Digest>(message), made); });
    });
}

ATCA_STATUS atcab_verify_extern(const uint8_t *message, const uint8_t *signature, const uint8_t *public_key,
                                bool *is_verified) {
    const Call call(kind, "atcab_verify_extern");
    return answer(call, message && signature && public_key && is_verified, [&](Chip &) {
        *is_verified = p256_verify(take<PublicKey>(public_key), take<Digest>(message), take<Signature>(signature));
        return ATCA_SUCCESS;
    });
}

// Computed on the host; no session needed.
int atcac_sw_sha2_256(const uint8_t *data, size_t length, uint8_t *digest) {
    const Call call(kind, "atcac_sw_sha2_256", "%zu", length);
    return answered<ATCA_STATUS>(call, ATCA_GEN_FAIL, [&] {
        if (!digest || (!data && length)) return ATCA_BAD_PARAM;
        return give<Digest>(digest, [&](Digest &computed) {
            const auto made = sha256(ByteView(data, length));
            if (made) computed = *made;
            return made ? ATCA_SUCCESS : ATCA_GEN_FAIL;
        });
    });
}

}  // extern "C"

}  // namespace ostdrv::sim::atecc
