#include "atecc/chip_access.hpp"
#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

#include <algorithm>

namespace ostdrv::test {
namespace {

TEST_F(ProvisionedAtecc, DatesAndSignerIdAreKeptWhereADefinitionHasThem) {
    const Bytes certificate = Authority("signer A1B2").issue(Authority("device"));
    const auto find = [&](const std::string &text) {
        const auto at = std::search(certificate.begin(), certificate.end(), text.begin(), text.end());
        return atcacert_cert_loc_t{static_cast<std::uint16_t>(at - certificate.begin()),
                                   static_cast<std::uint16_t>(text.size())};
    };
    atcacert_def_t definition{};
    ASSERT_EQ(tpm_cert_reconfig_atcacert_def(&definition, certificate.data(), certificate.size()), 0);
    definition.template_id = 3;
    definition.chain_id = 1;
    definition.issue_date_format = definition.expire_date_format = DATEFMT_RFC5280_UTC;
    definition.expire_years = 20;
    definition.cert_sn_dev_loc.zone = DEVZONE_NONE;
    definition.public_key_dev_loc = {DEVZONE_DATA, 11, 0, 0, 64};
    definition.comp_cert_dev_loc = {DEVZONE_DATA, 10, 0, 0, 72};
    definition.std_cert_elements[STDCERT_ISSUE_DATE] = find("240101000000Z");
    definition.std_cert_elements[STDCERT_EXPIRE_DATE] = find("440101000000Z");
    definition.std_cert_elements[STDCERT_SIGNER_ID] = find("A1B2");
    ASSERT_EQ(atcacert_write_cert(&definition, certificate.data(), certificate.size()), 0);
    const Bytes form = sim::look_into_slot(10);
    EXPECT_EQ(Bytes(form.end() - 8, form.end()), (Bytes{0xC0, 0x84, 0x14, 0xA1, 0xB2, 0x31, 0, 0}));

    Bytes blank = certificate, rebuilt(1024);
    for (const auto element : {STDCERT_ISSUE_DATE, STDCERT_EXPIRE_DATE, STDCERT_SIGNER_ID, STDCERT_PUBLIC_KEY})
        std::fill_n(blank.begin() + definition.std_cert_elements[element].offset,
                    definition.std_cert_elements[element].count, std::uint8_t{'0'});
    definition.cert_template = blank.data();
    definition.cert_template_size = static_cast<std::uint16_t>(blank.size());
    std::size_t size = rebuilt.size();
    ASSERT_EQ(atcacert_read_cert(&definition, nullptr, rebuilt.data(), &size), 0);
    rebuilt.resize(size);
    EXPECT_EQ(rebuilt, certificate);

    rebuilt[find("240101000000Z").offset + 9u] = '7';  // a minute, which the form does not hold
    EXPECT_NE(atcacert_write_cert(&definition, rebuilt.data(), rebuilt.size()), 0);
    definition.chain_id = 2;
    EXPECT_NE(atcacert_read_cert(&definition, nullptr, rebuilt.data(), &size), 0) << "stored for another chain";
}

}  // namespace
}  // namespace ostdrv::test
