// Zones and locks of the chip.
#include <algorithm>

#include "chip.hpp"
#include "core/fault_plan.hpp"

namespace ostdrv::sim::atecc {
namespace {

// Data goes over the wire in blocks of this size.
constexpr std::size_t block_size = 32;

// What a write may reach in the configuration zone: not the serial number, revision and interface bytes, not the locks.
constexpr std::size_t settings_begin = 16, settings_end = 84, options_begin = 90;

bool within(std::size_t size, std::size_t offset, std::size_t length) {
    return offset <= size && length <= size - offset;
}

}  // namespace

std::span<std::uint8_t> Chip::bytes_of(unsigned zone, unsigned slot) const {
    if (zone == ATCA_ZONE_CONFIG) return state_.config;
    if (zone == ATCA_ZONE_OTP) return state_.otp;
    return state_.slot(slot);
}

ATCA_STATUS Chip::zone_size(unsigned zone, unsigned slot, std::size_t &size) {
    if (zone > ATCA_ZONE_DATA || (zone == ATCA_ZONE_DATA && slot >= slot_count)) return ATCA_BAD_PARAM;
    size = zone == ATCA_ZONE_CONFIG ? 128 : zone == ATCA_ZONE_OTP ? 64 : slot_size(slot);
    return ATCA_SUCCESS;
}

bool Chip::readable(unsigned zone, unsigned slot) const {
    if (zone == ATCA_ZONE_CONFIG) return true;
    if (zone == ATCA_ZONE_OTP) return config_locked();
    return config_locked() && !secret(slot) && !for_private_key(slot);
}

bool Chip::writable(unsigned zone, unsigned slot, std::size_t offset, std::size_t length) const {
    if (zone == ATCA_ZONE_CONFIG)
        return !config_locked() && offset >= settings_begin &&
               (offset + length <= settings_end || offset >= options_begin);
    if (zone == ATCA_ZONE_OTP) return config_locked() && !data_locked();
    return config_locked() && !slot_locked(slot) && !for_private_key(slot) && (!data_locked() || write_rule(slot) == 0);
}

ATCA_STATUS Chip::read(unsigned zone, unsigned slot, std::size_t offset, std::span<std::uint8_t> bytes) const {
    std::size_t size = 0;
    if (const ATCA_STATUS status = zone_size(zone, slot, size)) return status;
    if (!within(size, offset, bytes.size())) return ATCA_BAD_PARAM;
    if (!readable(zone, slot)) return ATCA_EXECUTION_ERROR;
    std::ranges::copy(bytes_of(zone, slot).subspan(offset, bytes.size()), bytes.begin());
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::write(unsigned zone, unsigned slot, std::size_t offset, ByteView bytes) {
    std::size_t size = 0;
    if (const ATCA_STATUS status = zone_size(zone, slot, size)) return status;
    if (!within(size, offset, bytes.size()) || offset % 4 != 0 || bytes.size() % 4 != 0) return ATCA_BAD_PARAM;
    if (!writable(zone, slot, offset, bytes.size())) return ATCA_EXECUTION_ERROR;
    return write_blocks(bytes_of(zone, slot).subspan(offset, bytes.size()), bytes);
}

// Each block is kept as soon as the chip has it: power may be cut before the next.
ATCA_STATUS Chip::write_blocks(std::span<std::uint8_t> to, ByteView from) {
    while (from.size() > block_size) {
        std::ranges::copy(from.first(block_size), to.begin());
        if (fault_plan::active) {
            if (!state_.save()) return ATCA_GEN_FAIL;
            fault_plan::block_written();
        }
        to = to.subspan(block_size);
        from = from.subspan(block_size);
    }
    std::ranges::copy(from, to.begin());
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::write_config(std::span<const std::uint8_t, 128> image) {
    if (config_locked()) return ATCA_EXECUTION_ERROR;
    const std::span config(state_.config);
    const auto settings = image.subspan(settings_begin, settings_end - settings_begin);
    if (const auto status = write_blocks(config.subspan(settings_begin), settings)) return status;
    return write_blocks(config.subspan(options_begin), image.subspan(options_begin));
}

ATCA_STATUS Chip::lock_config() {
    if (config_locked()) return ATCA_EXECUTION_ERROR;
    state_.config[lock_config_byte] = 0;
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::lock_data() {
    if (!config_locked() || data_locked()) return ATCA_EXECUTION_ERROR;
    state_.config[lock_value_byte] = 0;
    return ATCA_SUCCESS;
}

ATCA_STATUS Chip::lock_slot(unsigned slot) {
    if (slot >= slot_count) return ATCA_BAD_PARAM;
    if (!config_locked() || slot_locked(slot) || !lockable(slot)) return ATCA_EXECUTION_ERROR;
    std::uint8_t &bits = state_.config[slot_locked_bytes + slot / 8];
    bits = static_cast<std::uint8_t>(bits & ~(1u << slot % 8));
    return ATCA_SUCCESS;
}

}  // namespace ostdrv::sim::atecc
