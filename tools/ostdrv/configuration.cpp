#include "configuration.hpp"

#include <ostdrv.h>

#include <algorithm>
#include <utility>

#include "secure_element/chip_map.hpp"

namespace ostdrv::tool {
namespace {

// Places in the zone, and bits of the 16-bit rules there, as the chips' data sheets have them.
constexpr std::size_t address_byte = 16, mode_byte = 18, slot_rules = 20, slot_locks = 88, key_rules = 96;
constexpr unsigned rule_external_signature = 0x0001, rule_secret = 0x0080, rule_generate = 0x2000;
constexpr unsigned key_private = 0x0001, key_public_half = 0x0002, key_lockable = 0x0020;
constexpr unsigned key_type = 0x001C, key_type_p256 = 0x0010;

using Range = std::pair<std::size_t, std::size_t>;
// What comes with the chip, counts, or is changed by locks is nobody's configuration.
constexpr Range configured[] = {{16, 52}, {90, 128}};
constexpr std::size_t adjusted[] = {mode_byte, 90, 91};

unsigned rule(const Bytes &image, std::size_t place) {
    return unsigned{image[place]} | unsigned{image[place + 1]} << 8;
}

const char *name_of_model(int model) { return model == TPM_MODEL_ATECC508A ? "ATECC508A" : "ATECC608A"; }

// 508A: how the one-time zone may be used; 608A: which key counts, with bits that must be zero.
bool is_mode_of_model(std::uint8_t mode, int model) {
    if (model == TPM_MODEL_ATECC508A) return mode == 0x00 || mode == 0x55 || mode == 0xAA;
    return (mode & 0x0E) == 0;
}

// An image that was read from a chip says which; one that was made by hand is blank there.
bool is_of_other_model(const Bytes &image, int model) {
    const auto own = image.begin() + address_byte;
    if (std::all_of(image.begin(), own, [first = image[0]](auto byte) { return byte == first; })) return false;
    return (image[atecc::model_byte] == atecc::model_508a) != (model == TPM_MODEL_ATECC508A);
}

}  // namespace

Words faults_of_configuration(const Bytes &image, int model, int i2c_address) {
    Words faults;
    const auto expect = [&faults](bool holds, const std::string &fault) {
        if (!holds) faults.push_back(fault);
    };
    const unsigned key = rule(image, key_rules), slot = rule(image, slot_rules);
    const bool is_key = (key & key_private) && (key & key_type) == key_type_p256 && (slot & rule_secret);
    expect(is_key, "slot 0 is not for a private P-256 key (bytes 20, 21, 96 and 97)");
    if (is_key) {
        expect(slot & rule_generate, "no key can be made in slot 0 (byte 21)");
        expect(slot & rule_external_signature, "the key in slot 0 cannot sign (byte 20)");
        expect(key & key_public_half, "the public half of the key in slot 0 cannot be had (byte 96)");
        expect(key & key_lockable, "slot 0 cannot be locked (byte 96)");
    }
    expect(image[slot_locks] & 1, "slot 0 is locked before it has a key (byte 88)");
    const std::string name = name_of_model(model);
    expect(!is_of_other_model(image, model), "it was read from another model than this " + name);
    expect(is_mode_of_model(image[mode_byte], model), "byte 18 is nothing that an " + name + " knows");
    const unsigned address = image[address_byte] >> 1;
    expect(address >= 0x08 && address <= 0x77, hexadecimal(address, 2) + " is no I2C address of a chip (byte 16)");
    if (i2c_address >= 0)
        expect(static_cast<int>(address) == i2c_address,
               "the chip moves to I2C address " + hexadecimal(address, 2) + ", and this device looks for it at " +
                   hexadecimal(static_cast<unsigned>(i2c_address), 2) + " (byte 16)");
    return faults;
}

std::string differences(const Bytes &chip, const Bytes &image, bool is_adjusted) {
    Words places;
    for (const auto &[first, end] : configured)
        for (std::size_t i = first; i < end; ++i)
            if (chip[i] != image[i] && !(is_adjusted && std::ranges::find(adjusted, i) != std::end(adjusted)))
                places.push_back("byte " + std::to_string(i));
    return joined(places);
}

}  // namespace ostdrv::tool
