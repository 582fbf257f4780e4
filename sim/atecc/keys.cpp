// Key slots of the chip. A private key lies as the chip keeps it: four zero bytes, then its 32 bytes.
#include <algorithm>

#include "chip.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::size_t padding = 4;

}  // namespace

void State::put_private_key(unsigned number, const PrivateKey &key) {
    const auto place = slot(number);
    std::fill_n(place.begin(), padding, std::uint8_t{0});
    std::ranges::copy(key, place.begin() + padding);
}

std::optional<PrivateKey> Chip::private_key(unsigned slot) const {
    if (!config_locked() || !for_p256_key(slot)) return std::nullopt;
    PrivateKey key;
    std::ranges::copy(state_.slot(slot).subspan(padding, key.size()), key.begin());
    return key;
}

ATCA_STATUS Chip::generate_key(unsigned slot, PublicKey &key) {
    if (slot >= slot_count) return ATCA_BAD_PARAM;
    if (!config_locked() || slot_locked(slot) || !for_p256_key(slot) || !(write_rule(slot) & 0x2))
        return ATCA_EXECUTION_ERROR;
    const auto fresh = p256_generate();
    const auto fresh_public = fresh ? p256_public_key(*fresh) : std::nullopt;
    if (!fresh_public) return ATCA_GEN_FAIL;
    state_.put_private_key(slot, *fresh);
    key = *fresh_public;
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::public_key(unsigned slot, PublicKey &key) const {
    if (slot >= slot_count) return ATCA_BAD_PARAM;
    const auto secret_key = public_key_allowed(slot) ? private_key(slot) : std::nullopt;
    const auto computed = secret_key ? p256_public_key(*secret_key) : std::nullopt;
    if (!computed) return ATCA_EXECUTION_ERROR;
    key = *computed;
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::sign(unsigned slot, const Digest &digest, Signature &signature) const {
    if (slot >= slot_count) return ATCA_BAD_PARAM;
    const auto key = private_key(slot);
    const auto made = key ? p256_sign(*key, digest) : std::nullopt;
    if (!made) return ATCA_EXECUTION_ERROR;
    signature = *made;
    return ATCA_SUCCESS;
}

}  // namespace ostdrv::sim::atecc
