#include <cstdlib>
#include <cstring>
#include <ctime>

#include "certificates/chain.hpp"

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

    // An EC key of fewer bytes than the last 64 that would be taken: the place lies before the input's start, so there
    // is no key, and no certificate either.
    const Bytes short_key{0x30, 0x12, 0x02, 0x01, 0x05, 0x06, 0x07, 0x2A, 0x86, 0x48,
                          0xCE, 0x3D, 0x02, 0x01, 0x05, 0x00, 0x03, 0x02, 0x00, 0x04};
    EXPECT_EQ(tpm_get_pubkey_from_tbs(short_key.data(), short_key.size(), key.data()), 0);
    EXPECT_EQ(tpm_cert_reconfig_atcacert_def(&def, short_key.data(), short_key.size()), 8);
    EXPECT_EQ(def.tbs_cert_loc.count, 3) << "a refused certificate changes nothing";
    EXPECT_EQ(key[0], 0xEE);
}

TEST_F(Template, ZeroBytesAndLengthOfATextMakeNoOtherLines) {
    const PublicKey expected = subject.public_key();
    // Lines that end within, at and behind a reader's buffer, each between a key's identifier and the key.
    for (const std::size_t from : {1u, 965u, 1220u})
        for (std::size_t text = from; text < from + 20; ++text) {
            Bytes der{0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x0C, 0x82};
            for (const std::size_t length : {text >> 8, text}) der.push_back(static_cast<std::uint8_t>(length));
            der.resize(der.size() + text, 0);
            for (const int header : {0x03, 0x42, 0x00, 0x04}) der.push_back(static_cast<std::uint8_t>(header));
            der.insert(der.end(), expected.begin(), expected.end());
            PublicKey key{};
            EXPECT_EQ(tpm_get_pubkey_from_tbs(der.data(), der.size(), key.data()), 0);
            ASSERT_EQ(key, expected) << text;
        }
}

TEST_F(Template, CommandAndFilesComeInOrder) {
    const Bytes der = issuer.issue(subject);
    PublicKey key;
    const auto run = [&] { return tpm_get_pubkey_from_tbs(der.data(), der.size(), key.data()); };
    const Calls calls = calls_of([&] { EXPECT_EQ(run(), 0); });
    const char *const beginnings[] = {
        "remove(/tmp/der.tmp.",
        "remove(/tmp/asn1decode.tmp.",
        "fopen(/tmp/der.tmp.",
        "fwrite(",
        "fclose(",
        "system(/usr/bin/openssl asn1parse -in /tmp/der.tmp.",
        "unlink(/tmp/der.tmp.",
        "fopen(/tmp/asn1decode.tmp.",
    };
    for (std::size_t i = 0; i < std::size(beginnings); ++i)
        EXPECT_TRUE(calls[i].starts_with(beginnings[i])) << calls[i];
    EXPECT_TRUE(calls.back().starts_with("unlink(/tmp/asn1decode.tmp."));
    EXPECT_NE(calls[5].find(" -inform DER > /tmp/asn1decode.tmp."), std::string::npos);

    EXPECT_EQ(with_fault({.name = "fwrite", .has_result = true, .result = 100}, run), 8);
    EXPECT_EQ(with_fault({.name = "fclose", .nth = 1}, run), 8);
    EXPECT_EQ(with_fault({.name = "system", .has_result = true, .result = 256}, run), 9);
    const Remains before = remains();
    EXPECT_EQ(tpm_get_pubkey_from_tbs(Bytes(50, 0xFF).data(), 50, key.data()), 9);
    EXPECT_EQ(tpm_get_pubkey_from_tbs(der.data(), 0, key.data()), 9);
    EXPECT_EQ(remains(), before);
}

TEST_F(Template, WhatStandsAtTheNamesIsNeitherFollowedNorTakenForItsOwn) {
    namespace fs = std::filesystem;
    using Put = std::function<void(const fs::path &)>;
    const Bytes der = issuer.issue(subject);
    const fs::path elsewhere = put("elsewhere", "kept"), tmp = board.root() / "fs/tmp";
    const Put link = [&](const fs::path &at) { fs::create_symlink(elsewhere, at); };
    const Put file = [](const fs::path &at) { std::ofstream(at) << "old"; };
    const Put directory = [](const fs::path &at) { fs::create_directory(at); };
    const Put full = [&](const fs::path &at) { directory(at), file(at / "file"); };
    const Put foreign = [&](const fs::path &at) {
        file(at);
        ASSERT_EQ(chown(at.c_str(), 1, 1), 0);
    };
    // In the second half the removal before use only seems to succeed, as when something is put there right after it.
    const struct {
        const char *what;
        const Put &put;
        bool too_late;
        int status_at_input, status_at_output;
        long left;  // of three
    } cases[] = {{"link", link, false, 0, 0, 2},
                 {"file", file, false, 0, 0, 2},
                 {"directory", directory, false, 0, 0, 2},
                 {"full directory", full, false, 8, 8, 3},
                 {"late link", link, true, 0, 0, 3},
                 {"late directory", directory, true, 8, 9, 3},
                 {"another user's", foreign, true, 0, 0, 3}};
    for (const auto &c : cases)
        for (const bool at_output : {false, true}) {
            if (&c.put == &foreign && geteuid() != 0) continue;
            SCOPED_TRACE(testing::Message() << c.what << (at_output ? " at the output" : " at the input"));
            for (const auto &entry : fs::directory_iterator(tmp)) fs::remove_all(entry);
            // The names that a call in this second or the next two draws.
            for (const time_t later : {0, 1, 2}) {
                std::srand(static_cast<unsigned>(time(nullptr) + later));
                const int numbers[] = {std::rand(), std::rand()};
                c.put(tmp / (at_output ? "asn1decode.tmp." : "der.tmp.") += std::to_string(numbers[at_output]));
            }
            PublicKey key{};
            const sim::Fault seems{.name = "remove", .lasting = true, .has_result = c.too_late, .result = 0};
            const auto run = [&] { return tpm_get_pubkey_from_tbs(der.data(), der.size(), key.data()); };
            EXPECT_EQ(c.too_late ? with_fault(seems, run) : run(), at_output ? c.status_at_output : c.status_at_input);
            EXPECT_EQ(key == subject.public_key(), c.status_at_input == 0);
            EXPECT_EQ(std::distance(fs::directory_iterator(tmp), fs::directory_iterator()), c.left);
            EXPECT_TRUE(c.too_late || get("elsewhere") == "kept");
        }
}

}  // namespace
}  // namespace ostdrv::test
