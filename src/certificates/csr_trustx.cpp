// Certificate signing requests (RFC 2986) of a Trust X: put together from templates, signed in the chip.
#include <trustx.h>

#include <algorithm>
#include <cstring>

#include "ostdrv.h"
#include "secure_element/chip_map.hpp"
#include "support/stream.hpp"
#include "support/trustx_session.hpp"

using namespace ostdrv;

// clang-format off
char trustx_csr_header_template[36] = {
    '-', '-', '-', '-', '-', 'B', 'E', 'G', 'I', 'N', ' ', 'C', 'E', 'R', 'T', 'I', 'F', 'I', 'C', 'A', 'T', 'E', ' ',
    'R', 'E', 'Q', 'U', 'E', 'S', 'T', '-', '-', '-', '-', '-', '\n'};

char trustx_csr_footer_template[35] = {
    '\n', '-', '-', '-', '-', '-', 'E', 'N', 'D', ' ', 'C', 'E', 'R', 'T', 'I', 'F', 'I', 'C', 'A', 'T', 'E', ' ',
    'R', 'E', 'Q', 'U', 'E', 'S', 'T', '-', '-', '-', '-', '-', '\n'};

uint8_t trustx_csr_signable_template[148] = {
    0x30, 0x81, 0x91, 0x02, 0x01, 0x00,                            // CertificationRequestInfo, version 0
    0x30, 0x2F,                                                    // subject
    0x31, 0x1A, 0x30, 0x18, 0x06, 0x03, 0x55, 0x04, 0x03,          // commonName
    0x0C, 0x11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0x31, 0x11, 0x30, 0x0F, 0x06, 0x03, 0x55, 0x04, 0x0A,          // organizationName
    0x0C, 0x08, 'O', 's', 't', 'r', 'a', 'v', 'e', 'l',
    0x30, 0x59, 0x30, 0x13,                                        // subjectPKInfo
    0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01,          // id-ecPublicKey
    0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07,    // prime256v1
    0x03, 0x42, 0, 0,                                              // the unused bits, 04, X and Y
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0xA0, 0x00};                                                   // no attributes

uint8_t trustx_csr_signature_template[87] = {
    0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02,  // ecdsa-with-SHA256
    0x03, 0x49, 0x00, 0x30, 0x46};                                           // signatureValue; its INTEGERs follow
// clang-format on

namespace {

constexpr size_t signable_size = sizeof trustx_csr_signable_template;

// Places in the request.
constexpr size_t signable_at = 3;
constexpr size_t name_at = 22, name_size = 17;
constexpr size_t key_at = 83, key_size = 66;
constexpr size_t algorithm_at = signable_at + signable_size;
constexpr size_t signature_at = 168, signature_capacity = 70;
constexpr size_t request_capacity = algorithm_at + sizeof trustx_csr_signature_template;
static_assert(signature_at + signature_capacity == request_capacity);

// Of the SubjectPublicKeyInfo that key generation leaves in the chip.
constexpr size_t key_info_size = 91, key_info_point_at = 25;

constexpr size_t base64_capacity = 4096;
constexpr size_t line_length = 64;

void fill_from_templates(uint8_t *request) {
    request[0] = 0x30;
    request[1] = 0x81;
    std::memcpy(request + signable_at, trustx_csr_signable_template, sizeof trustx_csr_signable_template);
    std::memcpy(request + algorithm_at, trustx_csr_signature_template, sizeof trustx_csr_signature_template);
}

bool fill_in_name(uint8_t *request) {
    char serial[36] = {};
    int length = sizeof serial - 1;
    if (tpm_cert_get_serial_number(serial, &length) != 0) return false;
    std::memcpy(request + name_at, serial, name_size);
    return true;
}

bool fill_in_public_key(uint8_t *request) {
    uint8_t info[largest_transfer];
    uint16_t length = sizeof info;
    if (optiga_util_read_data(trustx::device_public_key, 0, info, &length) != 0 || length != key_info_size)
        return false;
    std::memcpy(request + key_at, info + key_info_point_at, key_size);
    return true;
}

bool fill_in_signature(uint8_t *request, uint16_t *length) {
    uint8_t digest[digest_size], signature[largest_transfer];
    constexpr auto key = static_cast<optiga_key_id_t>(trustx::device_key);
    *length = sizeof signature;
    if (trustX_sha256(request + signable_at, signable_size, digest, 0) != 0 ||
        optiga_crypt_ecdsa_sign(digest, sizeof digest, key, signature, length) != 0 || *length > signature_capacity)
        return false;

    std::memcpy(request + signature_at, signature, *length);
    request[2] = static_cast<uint8_t>(165 + *length);
    request[164] = static_cast<uint8_t>(*length + 3);
    request[167] = static_cast<uint8_t>(*length);
    return true;
}

// The public key and the signature, within one session.
bool complete_in_chip(uint8_t *request, uint16_t *signature_length) {
    const TrustxSession session;
    return session && fill_in_public_key(request) && fill_in_signature(request, signature_length);
}

char *append(char *end, const char *text, size_t length) { return std::copy_n(text, length, end); }

// The request's text between header and footer: no line end behind its last line.
char *append_lines(char *end, const char *text, size_t length) {
    for (size_t done = 0; done < length; done += line_length) {
        if (done > 0) *end++ = '\n';
        end = append(end, text + done, std::min(line_length, length - done));
    }
    return end;
}

}  // namespace

int tpm_cert_gencsr_trustx(const char *path) {
    if (!path) return TPM_ERR_ARGUMENT;

    uint8_t request[request_capacity];
    uint16_t signature_length = 0;
    fill_from_templates(request);
    if (!fill_in_name(request) || !complete_in_chip(request, &signature_length)) return TPM_ERR_CHIP;

    char base64[base64_capacity];
    size_t length = 0;
    if (trustX_encodeBase64(base64, sizeof base64, &length, request, signature_at + signature_length) != 0 ||
        length > sizeof base64)
        return TPM_ERR_TOO_LARGE;

    char text[sizeof trustx_csr_header_template + base64_capacity + base64_capacity / line_length +
              sizeof trustx_csr_footer_template];
    char *end = append(text, trustx_csr_header_template, sizeof trustx_csr_header_template);
    end = append_lines(end, base64, length);
    end = append(end, trustx_csr_footer_template, sizeof trustx_csr_footer_template);

    Stream file(path, "w");
    if (!file) return TPM_ERR_FILE;
    // Not checked, as on the other chip.
    file.write(text, static_cast<size_t>(end - text));
    return TPM_OK;
}
