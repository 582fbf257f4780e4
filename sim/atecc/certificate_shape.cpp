#include "certificate_shape.hpp"

#include "core/der.hpp"
#include "refused.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::uint8_t sequence = 0x30, bit_string = 0x03;
constexpr std::array<std::uint8_t, 12> ecdsa_with_sha256 = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86,
                                                            0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};

ByteView content_of(ByteView certificate) {
    const auto whole = take_element(certificate, sequence);
    require(whole && certificate.empty(), ATCACERT_E_DECODING_ERROR);
    return whole->content;
}

// From the signature's tag to the certificate's end.
ByteView from_signature(const atcacert_def_t &definition, ByteView certificate) {
    const ByteView body = signed_part(definition, certificate);
    const std::size_t offset = element_of(definition, STDCERT_SIGNATURE).offset;
    require(offset >= static_cast<std::size_t>(body.data() - certificate.data()) + body.size() &&
                offset <= certificate.size(),
            ATCACERT_E_ELEM_OUT_OF_BOUNDS);
    return certificate.subspan(offset);
}

}  // namespace

ByteView bytes_at(ByteView certificate, const atcacert_cert_loc_t &location) {
    require(location.offset <= certificate.size() && location.count <= certificate.size() - location.offset,
            ATCACERT_E_ELEM_OUT_OF_BOUNDS);
    return certificate.subspan(location.offset, location.count);
}

ByteView signed_part(const atcacert_def_t &definition, ByteView certificate) {
    require(definition.type == CERTTYPE_X509, ATCACERT_E_WRONG_CERT_DEF);
    const ByteView located = bytes_at(certificate, definition.tbs_cert_loc);
    ByteView content = content_of(certificate);
    const auto first = take_element(content, sequence);
    require(first.has_value(), ATCACERT_E_DECODING_ERROR);
    require(first->whole.data() == located.data() && first->whole.size() == located.size(), ATCACERT_E_WRONG_CERT_DEF);
    return located;
}

ByteView public_key_of(const atcacert_def_t &definition, ByteView certificate) {
    const ByteView body = signed_part(definition, certificate);
    const ByteView key = bytes_at(certificate, element_of(definition, STDCERT_PUBLIC_KEY));
    require(key.size() == sizeof(PublicKey), ATCACERT_E_WRONG_CERT_DEF);
    require(key.data() >= body.data() && key.data() + key.size() <= body.data() + body.size(),
            ATCACERT_E_ELEM_OUT_OF_BOUNDS);
    return key;
}

Signature signature_of(const atcacert_def_t &definition, ByteView certificate) {
    const ByteView body = signed_part(definition, certificate);
    ByteView rest = from_signature(definition, certificate);
    const ByteView algorithm(body.data() + body.size(), rest.data());
    require(std::ranges::equal(algorithm, ecdsa_with_sha256), ATCACERT_E_DECODING_ERROR);
    const auto value = take_element(rest, bit_string);
    require(value && rest.empty() && !value->content.empty() && value->content[0] == 0, ATCACERT_E_DECODING_ERROR);
    return required(signature_from_der(value->content.subspan(1)), ATCACERT_E_DECODING_ERROR);
}

Bytes with_signature(const atcacert_def_t &definition, ByteView certificate, const Signature &signature) {
    const ByteView old = from_signature(definition, certificate);
    const std::size_t old_size = element_of(definition, STDCERT_SIGNATURE).count;
    require(old_size > 0 && old_size <= old.size(), ATCACERT_E_ELEM_OUT_OF_BOUNDS);

    Bytes value{0};  // no unused bits
    append(value, signature_to_der(signature));
    Bytes content;
    append(content, ByteView(content_of(certificate).data(), old.data()));
    append_element(content, bit_string, value);
    append(content, old.subspan(old_size));
    Bytes signed_certificate;
    append_element(signed_certificate, sequence, content);
    return signed_certificate;
}

Bytes template_of(const atcacert_def_t &definition) {
    require(definition.cert_template, ATCACERT_E_WRONG_CERT_DEF);
    const ByteView bytes(definition.cert_template, definition.cert_template_size);
    signed_part(definition, bytes);
    return Bytes(bytes.begin(), bytes.end());
}

}  // namespace ostdrv::sim::atecc
