// The commands of an ATECC and the rules it keeps: what its configuration and its locks allow.
//
// Before the configuration is locked no data can be read or written and no key made. From then until the data zone is
// locked, plain data is written regardless of WriteConfig, as for a first filling; afterwards only where WriteConfig
// says always. Slots marked IsSecret are never read, private keys neither read nor written. Locks never open again.
#ifndef OSTDRV_SIM_ATECC_CHIP_HPP
#define OSTDRV_SIM_ATECC_CHIP_HPP

#include "cryptoauthlib.h"
#include "state.hpp"

namespace ostdrv::sim::atecc {

class Chip {
 public:
    explicit Chip(State &state) : state_(state) {}

    // Zones; a slot counts in the data zone only.
    ATCA_STATUS read(unsigned zone, unsigned slot, std::size_t offset, std::span<std::uint8_t> bytes) const;
    ATCA_STATUS write(unsigned zone, unsigned slot, std::size_t offset, ByteView bytes);
    // Of a whole image, what can be written: not what was fixed in the factory, and no lock.
    ATCA_STATUS write_config(std::span<const std::uint8_t, 128> image);
    static ATCA_STATUS zone_size(unsigned zone, unsigned slot, std::size_t &size);

    // Locks
    bool config_locked() const { return state_.config[lock_config_byte] != unlocked; }
    bool data_locked() const { return state_.config[lock_value_byte] != unlocked; }
    bool slot_locked(unsigned slot) const { return (word(slot_locked_bytes) >> slot & 1) == 0; }
    ATCA_STATUS lock_config();
    ATCA_STATUS lock_data();
    ATCA_STATUS lock_slot(unsigned slot);

    // Keys
    ATCA_STATUS generate_key(unsigned slot, PublicKey &key);
    ATCA_STATUS public_key(unsigned slot, PublicKey &key) const;
    ATCA_STATUS sign(unsigned slot, const Digest &digest, Signature &signature) const;

 private:
    static constexpr std::size_t slot_config_bytes = 20, lock_value_byte = 86, lock_config_byte = 87,
                                 slot_locked_bytes = 88, key_config_bytes = 96;
    static constexpr std::uint8_t unlocked = 0x55;

    State &state_;

    unsigned word(std::size_t at) const {
        return state_.config[at] | static_cast<unsigned>(state_.config[at + 1]) << 8;
    }
    unsigned slot_config(unsigned slot) const { return word(slot_config_bytes + 2 * slot); }
    unsigned key_config(unsigned slot) const { return word(key_config_bytes + 2 * slot); }

    bool secret(unsigned slot) const { return slot_config(slot) & 0x0080; }
    unsigned write_rule(unsigned slot) const { return slot_config(slot) >> 12; }
    bool for_private_key(unsigned slot) const { return key_config(slot) & 0x0001; }
    bool for_p256_key(unsigned slot) const { return (key_config(slot) & 0x001D) == 0x0011; }  // Private, KeyType 4
    bool public_key_allowed(unsigned slot) const { return key_config(slot) & 0x0002; }
    bool lockable(unsigned slot) const { return key_config(slot) & 0x0020; }

    bool readable(unsigned zone, unsigned slot) const;
    bool writable(unsigned zone, unsigned slot, std::size_t offset, std::size_t length) const;
    ATCA_STATUS write_blocks(std::span<std::uint8_t> to, ByteView from);
    std::span<std::uint8_t> bytes_of(unsigned zone, unsigned slot) const;
    std::optional<PrivateKey> private_key(unsigned slot) const;
};

}  // namespace ostdrv::sim::atecc

#endif
