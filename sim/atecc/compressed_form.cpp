#include "compressed_form.hpp"

#include <cstdio>

#include "certificate_shape.hpp"
#include "refused.hpp"

namespace ostdrv::sim {
namespace {

constexpr std::size_t dates_at = 64, signer_id_at = 67, ids_at = 69, source_at = 70;

constexpr unsigned bits(unsigned value, unsigned shift, unsigned width) { return value >> shift & ((1u << width) - 1); }

// Two decimal digits of a text; anything else gives a number that is in no date.
unsigned two_digits(std::string_view text, std::size_t at) {
    const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '9' ? unsigned(text[i] - '0') : 99u; };
    return at + 2 > text.size() ? 99u : digit(at) * 10 + digit(at + 1);
}

std::string date_text(atcacert_date_format_t format, unsigned year, unsigned month, unsigned day, unsigned hour) {
    char text[64];
    std::snprintf(text, sizeof text,
                  format == DATEFMT_RFC5280_UTC ? "%02u%02u%02u%02u0000Z" : "20%02u-%02u-%02uT%02u:00:00Z", year, month,
                  day, hour);
    return text;
}

void place(Bytes &certificate, const atcacert_cert_loc_t &location, std::string_view text) {
    const ByteView old = bytes_at(certificate, location);
    require(old.size() == text.size(), ATCACERT_E_WRONG_CERT_DEF);
    std::ranges::copy(text, certificate.begin() + location.offset);
}

std::array<std::uint8_t, 3> compressed_dates(const atcacert_def_t &definition, ByteView certificate) {
    const atcacert_cert_loc_t &location = element_of(definition, STDCERT_ISSUE_DATE);
    if (location.count == 0) return {};
    const ByteView bytes = bytes_at(certificate, location);
    const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    const bool utc = definition.issue_date_format == DATEFMT_RFC5280_UTC;
    const std::size_t first = utc ? 0 : 2, step = utc ? 2 : 3;
    unsigned packed = bits(two_digits(text, first), 0, 5);
    packed = packed << 4 | bits(two_digits(text, first + step), 0, 4);
    packed = packed << 5 | bits(two_digits(text, first + 2 * step), 0, 5);
    packed = packed << 5 | bits(two_digits(text, first + 3 * step), 0, 5);
    packed = packed << 5 | bits(definition.expire_years, 0, 5);
    return {static_cast<std::uint8_t>(packed >> 16), static_cast<std::uint8_t>(packed >> 8),
            static_cast<std::uint8_t>(packed)};
}

void expand_dates(const atcacert_def_t &definition, const CompressedForm &form, Bytes &certificate) {
    const unsigned packed = static_cast<unsigned>(form[dates_at] << 16 | form[dates_at + 1] << 8 | form[dates_at + 2]);
    const unsigned year = bits(packed, 19, 5), month = bits(packed, 15, 4), day = bits(packed, 10, 5),
                   hour = bits(packed, 5, 5), years = bits(packed, 0, 5);
    const atcacert_cert_loc_t &issue = element_of(definition, STDCERT_ISSUE_DATE);
    const atcacert_cert_loc_t &expire = element_of(definition, STDCERT_EXPIRE_DATE);
    if (issue.count == 0) return require(packed == 0, ATCACERT_E_DECODING_ERROR);
    place(certificate, issue, date_text(definition.issue_date_format, year, month, day, hour));
    // Without years until expiry the date is the template's.
    if (expire.count == 0 || years == 0) return;
    place(certificate, expire, date_text(definition.expire_date_format, year + years, month, day, hour));
}

std::array<std::uint8_t, 2> compressed_signer_id(const atcacert_def_t &definition, ByteView certificate) {
    const atcacert_cert_loc_t &location = element_of(definition, STDCERT_SIGNER_ID);
    if (location.count == 0) return {};
    const ByteView text = bytes_at(certificate, location);
    unsigned id = 0;
    for (const std::uint8_t c : text) {
        const std::size_t digit = std::string_view("0123456789ABCDEF").find(static_cast<char>(c));
        id = id << 4 | static_cast<unsigned>(digit & 15);
    }
    return {static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)};
}

void expand_signer_id(const atcacert_def_t &definition, const CompressedForm &form, Bytes &certificate) {
    const atcacert_cert_loc_t &location = element_of(definition, STDCERT_SIGNER_ID);
    const ByteView id = ByteView(form).subspan(signer_id_at, 2);
    if (location.count == 0) return require(id[0] == 0 && id[1] == 0, ATCACERT_E_DECODING_ERROR);
    char text[8];
    std::snprintf(text, sizeof text, "%02X%02X", id[0], id[1]);
    place(certificate, location, text);
}

std::uint8_t ids(const atcacert_def_t &definition) {
    return static_cast<std::uint8_t>(definition.template_id << 4 | definition.chain_id);
}

std::uint8_t source_and_format(const atcacert_def_t &definition) {
    return static_cast<std::uint8_t>(definition.sn_source << 4);
}

// What a definition has no element for must be 0 in the form: no bit of it goes unnoticed.
void expand_fields(const atcacert_def_t &definition, const CompressedForm &form, Bytes &certificate) {
    require(form[ids_at] == ids(definition) && form[source_at] == source_and_format(definition) && form.back() == 0,
            ATCACERT_E_DECODING_ERROR);
    expand_dates(definition, form, certificate);
    expand_signer_id(definition, form, certificate);
}

}  // namespace

CompressedForm compress(const atcacert_def_t &definition, ByteView certificate) {
    CompressedForm form{};
    std::ranges::copy(signature_of(definition, certificate), form.begin());
    std::ranges::copy(compressed_dates(definition, certificate), form.begin() + dates_at);
    std::ranges::copy(compressed_signer_id(definition, certificate), form.begin() + signer_id_at);
    form[ids_at] = ids(definition);
    form[source_at] = source_and_format(definition);

    // A minute in a date, a letter in a signer id: what would not come back is not stored.
    Bytes again(certificate.begin(), certificate.end());
    expand_fields(definition, form, again);
    require(std::ranges::equal(again, certificate), ATCACERT_E_DECODING_ERROR);
    return form;
}

Bytes expand(const atcacert_def_t &definition, const CompressedForm &form, Bytes certificate) {
    expand_fields(definition, form, certificate);
    Signature signature;
    std::copy_n(form.begin(), signature.size(), signature.begin());
    return with_signature(definition, certificate, signature);
}

}  // namespace ostdrv::sim
