#include <cstring>

#include "certificates/definition.hpp"
#include "ostdrv.h"
#include "support/stream.hpp"

using namespace ostdrv;

// CertificationRequest (RFC 2986). The name, the key and the signature are samples, replaced at every use.
// clang-format off
uint8_t g_csr_template[237] = {
    0x30, 0x81, 0xEA,  // CertificationRequest
    0x30, 0x81, 0x91,  // CertificationRequestInfo, the signed part
    0x02, 0x01, 0x00,  // version 0
    0x30, 0x2F,        // subject
    0x31, 0x1A, 0x30, 0x18, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x11,  // 22: commonName
    '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F', 'G',
    0x31, 0x11, 0x30, 0x0F, 0x06, 0x03, 0x55, 0x04, 0x0A, 0x0C, 0x08,  // 50: organizationName
    'O', 's', 't', 'r', 'a', 'v', 'e', 'l',
    0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE,
    0x3D, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04,  // 85: SubjectPublicKeyInfo of a P-256 key
    0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
    0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22,
    0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22,
    0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22,
    0xA0, 0x00,                                                              // no attributes
    0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02,  // ecdsa-with-SHA256
    0x03, 0x48, 0x00, 0x30, 0x45, 0x02, 0x20,                                // 163: signature
    0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33,
    0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33,
    0x02, 0x21, 0x00,
    0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44,
    0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44};
// clang-format on

namespace {

constexpr uint16_t name_offset = 22;
constexpr uint16_t name_size = 17;
constexpr size_t largest_pem = 512;

constexpr atcacert_def_t csr_definition() {
    atcacert_def_t definition{};
    definition.type = type_x509;
    definition.template_id = 3;
    definition.sn_source = sn_stored;
    definition.cert_sn_dev_loc.zone = zone_data;
    definition.issue_date_format = date_rfc5280_utc;
    definition.expire_date_format = date_rfc5280_utc;
    definition.tbs_cert_loc = {3, 148};
    definition.public_key_dev_loc = {zone_data, atecc::device_key_slot, 1, 0, public_key_size};
    definition.comp_cert_dev_loc.zone = zone_none;
    definition.std_cert_elements[STDCERT_PUBLIC_KEY] = {85, public_key_size};
    definition.std_cert_elements[STDCERT_SIGNATURE] = {163, 74};
    definition.std_cert_elements[STDCERT_CERT_SN] = {name_offset, 0};
    definition.cert_template = g_csr_template;
    definition.cert_template_size = sizeof g_csr_template;
    return definition;
}

}  // namespace

constinit atcacert_def_t g_csr_def = csr_definition();

int tpm_cert_gencsr(const char *path) {
    if (!path) return TPM_ERR_ARGUMENT;

    // At every use, because applications may have changed them; until the first one they are 0, which they may look at.
    g_csr_def.std_cert_elements[STDCERT_CERT_SN].count = name_size;
    g_csr_def.cert_sn_dev_loc.slot = atecc::serial_number_slot;
    g_csr_def.cert_sn_dev_loc.count = name_size;
    char serial[36] = {};
    int wanted = 35;
    if (tpm_cert_get_serial_number(serial, &wanted) != TPM_OK) return TPM_ERR_CHIP;
    const size_t offset = g_csr_def.std_cert_elements[STDCERT_CERT_SN].offset;
    if (offset + name_size > sizeof g_csr_template) return TPM_ERR_CHIP;
    std::memcpy(g_csr_template + offset, serial, name_size);

    char pem[largest_pem];
    size_t length = sizeof pem;
    if (atcacert_create_csr_pem(&g_csr_def, pem, &length) != 0 || length > sizeof pem) return TPM_ERR_CHIP;

    Stream file(path, "w");
    if (!file) return TPM_ERR_FILE;
    // Not checked, as the header says: a request is read by whoever sends it on, and can be made again at any time.
    file.write(pem, length);
    return TPM_OK;
}
