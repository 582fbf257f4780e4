#include <cstring>

#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

class Template : public World {
 protected:
    Authority issuer{"Template CA"};
    Authority subject{"Template Subject"};
};

TEST_F(Template, FindsThePartsOfACertificate) {
    // The command's line for so long an extension is longer than a reader's buffer.
    const Bytes der = issuer.issue(subject, {.tbs_size = 900, .r_length = 31, .s_length = 33});
    const CertificateParts parts = parts_of(der);
    atcacert_def_t def, expected;
    std::memset(&def, 0x5A, sizeof def);
    expected = def;
    const auto u16 = [](std::size_t value) { return static_cast<std::uint16_t>(value); };
    expected.tbs_cert_loc = {u16(parts.tbs_offset), u16(parts.tbs_size)};
    expected.std_cert_elements[STDCERT_PUBLIC_KEY] = {u16(parts.key_offset), 64};
    const std::size_t signature = parts.integers_offset - 5;
    expected.std_cert_elements[STDCERT_SIGNATURE] = {u16(signature), u16(der.size() - signature)};
    ASSERT_EQ(tpm_cert_reconfig_atcacert_def(&def, der.data(), der.size()), 0);
    EXPECT_EQ(std::memcmp(&def, &expected, sizeof def), 0) << "three places, and nothing else";

    PublicKey key{};
    EXPECT_EQ(tpm_get_pubkey_from_tbs(der.data() + parts.tbs_offset, parts.tbs_size, key.data()), 0);
    EXPECT_EQ(key, subject.public_key());
}

TEST_F(Template, WhatIsNotThereIsLeftAlone) {
    const Bytes without_key{0x30, 0x06, 0x02, 0x01, 0x05, 0x02, 0x01, 0x06};
    PublicKey key;
    key.fill(0xEE);
    EXPECT_EQ(tpm_get_pubkey_from_tbs(without_key.data(), without_key.size(), key.data()), 0);
    EXPECT_EQ(key[0], 0xEE);
    atcacert_def_t def{};
    def.std_cert_elements[STDCERT_SIGNATURE] = {77, 7};
    EXPECT_EQ(tpm_cert_reconfig_atcacert_def(&def, without_key.data(), without_key.size()), 0);
    EXPECT_EQ(def.tbs_cert_loc.offset, 2);
    EXPECT_EQ(def.tbs_cert_loc.count, 3);
    EXPECT_EQ(def.std_cert_elements[STDCERT_SIGNATURE].offset, 77);

    // An EC key of fewer bytes than the last 64 that would be taken: the place lies before the input's start.
    const Bytes short_key{0x30, 0x12, 0x02, 0x01, 0x05, 0x06, 0x07, 0x2A, 0x86, 0x48,
                          0xCE, 0x3D, 0x02, 0x01, 0x05, 0x00, 0x03, 0x02, 0x00, 0x04};
    EXPECT_EQ(tpm_get_pubkey_from_tbs(short_key.data(), short_key.size(), key.data()), 8);
    EXPECT_EQ(tpm_cert_reconfig_atcacert_def(&def, short_key.data(), short_key.size()), 8);
    EXPECT_EQ(def.tbs_cert_loc.count, 3) << "a refused certificate changes nothing";
    EXPECT_EQ(key[0], 0xEE);
}

TEST_F(Template, CommandAndFilesComeInOrder) {
    const Bytes der = issuer.issue(subject);
    PublicKey key;
    const auto run = [&] { return tpm_get_pubkey_from_tbs(der.data(), der.size(), key.data()); };
    const Calls calls = calls_of([&] { EXPECT_EQ(run(), 0); });
    EXPECT_TRUE(calls[3].starts_with("system(/usr/bin/openssl asn1parse -in /tmp/der.tmp.")) << calls[3];
    EXPECT_TRUE(calls[4].starts_with("remove(/tmp/der.tmp.")) << calls[4];
    EXPECT_TRUE(calls.back().starts_with("remove(/tmp/asn1decode.tmp."));
    EXPECT_NE(calls[3].find(" -inform DER > /tmp/asn1decode.tmp."), std::string::npos);

    EXPECT_EQ(with_fault({.name = "fwrite", .has_result = true, .result = 100}, run), 8);
    EXPECT_EQ(with_fault({.name = "fclose", .nth = 1}, run), 8);
    EXPECT_EQ(with_fault({.name = "system", .has_result = true, .result = 256}, run), 9);
    const Remains before = remains();
    EXPECT_EQ(tpm_get_pubkey_from_tbs(Bytes(50, 0xFF).data(), 50, key.data()), 9);
    EXPECT_EQ(tpm_get_pubkey_from_tbs(der.data(), 0, key.data()), 9);
    EXPECT_EQ(remains(), before);
}

}  // namespace
}  // namespace ostdrv::test
