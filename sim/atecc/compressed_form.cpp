#include "compressed_form.hpp"

#include "certificate_shape.hpp"
#include "refused.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::size_t ids_at = 69, source_at = 70;

// All of a definition's form but the signature.
CompressedForm form_without_signature(const atcacert_def_t &definition) {
    for (const auto element : {STDCERT_ISSUE_DATE, STDCERT_EXPIRE_DATE, STDCERT_SIGNER_ID})
        require(element_of(definition, element).count == 0, ATCACERT_E_WRONG_CERT_DEF);
    CompressedForm form{};
    form[ids_at] = static_cast<std::uint8_t>(definition.template_id << 4 | definition.chain_id);
    form[source_at] = static_cast<std::uint8_t>(definition.sn_source << 4);
    return form;
}

}  // namespace

CompressedForm compress(const atcacert_def_t &definition, ByteView certificate) {
    CompressedForm form = form_without_signature(definition);
    std::ranges::copy(signature_of(definition, certificate), form.begin());
    return form;
}

Bytes expand(const atcacert_def_t &definition, const CompressedForm &form, ByteView certificate) {
    Signature signature;
    std::copy_n(form.begin(), signature.size(), signature.begin());
    CompressedForm expected = form_without_signature(definition);
    std::ranges::copy(signature, expected.begin());
    require(form == expected, ATCACERT_E_DECODING_ERROR);
    return with_signature(definition, certificate, signature);
}

}  // namespace ostdrv::sim::atecc
