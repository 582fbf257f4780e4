// Values of the ATECC library's certificate definition, which its interface documents by number.
#ifndef OSTDRV_CERTIFICATES_DEFINITION_HPP
#define OSTDRV_CERTIFICATES_DEFINITION_HPP

#include <cryptoauthlib.h>

#include "secure_element/chip_map.hpp"

namespace ostdrv {

using DeviceZone = decltype(atcacert_device_loc_t::zone);
inline constexpr auto zone_data = static_cast<DeviceZone>(2);
inline constexpr auto zone_none = static_cast<DeviceZone>(7);

inline constexpr auto type_x509 = static_cast<decltype(atcacert_def_t::type)>(0);
inline constexpr auto sn_stored = static_cast<decltype(atcacert_def_t::sn_source)>(0);
inline constexpr auto date_rfc5280_utc = static_cast<decltype(atcacert_def_t::issue_date_format)>(1);

inline constexpr uint16_t compressed_size = 72;

// A definition without places, to be filled from a certificate. The public key is generated from the private key in
// slot 0; the two zones say whether the chip library writes and reads through the definition at all.
constexpr atcacert_def_t certificate_definition(DeviceZone zone, uint8_t compressed_slot) {
    atcacert_def_t definition{};
    definition.type = type_x509;
    definition.sn_source = sn_stored;
    definition.cert_sn_dev_loc.zone = zone_none;
    definition.issue_date_format = date_rfc5280_utc;
    definition.expire_date_format = date_rfc5280_utc;
    definition.public_key_dev_loc = {zone, atecc::device_key_slot, 1, 0, public_key_size};
    definition.comp_cert_dev_loc = {zone, compressed_slot, 0, 0, compressed_size};
    return definition;
}

}  // namespace ostdrv

#endif
