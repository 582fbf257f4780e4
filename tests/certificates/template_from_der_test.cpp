#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

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
    std::string calls;
    for (const std::string &call : calls_of([&] { EXPECT_EQ(run(), 0); }))
        if (!call.starts_with("fgets") && !call.starts_with("lstat")) calls += call + " ";
    // The two numbers of the names.
    for (const char *base : {"der.tmp.", "asn1decode.tmp."}) {
        const std::size_t at = calls.find(base) + std::strlen(base);
        const std::string number = calls.substr(at, calls.find(')', at) - at);
        for (std::size_t found; (found = calls.find(base + number)) != calls.npos;)
            calls.replace(found, std::strlen(base) + number.size(), base[0] == 'd' ? "IN" : "OUT");
    }
    EXPECT_EQ(calls, "remove(/tmp/IN) remove(/tmp/OUT) fopen(/tmp/IN, wb) fwrite(" + std::to_string(der.size()) +
                         " '') fclose() system(/usr/bin/openssl asn1parse -in /tmp/IN -inform DER > /tmp/OUT) "
                         "unlink(/tmp/IN) fopen(/tmp/OUT, r) fclose() unlink(/tmp/OUT) ");
    EXPECT_EQ(with_fault({.name = "fwrite", .has_result = true, .result = 100}, run), 8);
    EXPECT_EQ(with_fault({.name = "system", .has_result = true, .result = 256}, run), 9);
    const Remains before = remains();
    EXPECT_EQ(tpm_get_pubkey_from_tbs(Bytes(50, 0xFF).data(), 50, key.data()), 9);
    EXPECT_EQ(tpm_get_pubkey_from_tbs(der.data(), 0, key.data()), 9);
    EXPECT_EQ(remains(), before);
}

TEST_F(Template, WhatStandsAtTheNamesIsNeitherFollowedNorTakenForItsOwn) {
    namespace fs = std::filesystem;
    enum Put { link, file, directory, full, foreign };
    const Bytes der = issuer.issue(subject);
    const fs::path elsewhere = put("elsewhere", "kept"), tmp = board.root() + "/fs/tmp";
    const auto put_at = [&](Put what, const fs::path &at) {
        if (what == link) return fs::create_symlink(elsewhere, at);
        if (what >= directory && what != foreign) fs::create_directory(at);
        if (what != directory) std::ofstream(what == full ? at / "file" : at) << "old";
        if (what == foreign) {
            ASSERT_EQ(chown(at.c_str(), 1, 1), 0);
        }
    };
    // In the second half the removal before use only seems to succeed, as when something is put there right after it.
    const struct {
        Put put;
        bool too_late;
        int status_at_input, status_at_output;
        long taken;
    } cases[] = {{link, false, 0, 0, 1},  {file, false, 0, 0, 1}, {directory, false, 0, 0, 1},
                 {full, false, 8, 8, 0},  {link, true, 0, 0, 0},  {directory, true, 8, 9, 0},
                 {foreign, true, 0, 0, 0}};
    for (const auto &c : cases)
        for (const bool at_output : {false, true}) {
            if (c.put == foreign && geteuid() != 0) continue;
            SCOPED_TRACE(testing::Message() << c.put << (c.too_late ? " late" : "") << (at_output ? " output" : ""));
            for (const auto &entry : fs::directory_iterator(tmp)) fs::remove_all(entry);
            // The names that a call draws in the seconds from now on, so many that the slowest machine calls in one.
            constexpr int seconds = 20;
            const time_t now = time(nullptr);
            for (int later = 0; later < seconds; ++later) {
                std::srand(static_cast<unsigned>(now + later));
                const int numbers[] = {std::rand(), std::rand()};
                put_at(c.put, tmp / (at_output ? "asn1decode.tmp." : "der.tmp.") += std::to_string(numbers[at_output]));
            }
            PublicKey key{};
            const sim::Fault seems{.name = "remove", .lasting = true, .has_result = c.too_late, .result = 0};
            const auto run = [&] { return tpm_get_pubkey_from_tbs(der.data(), der.size(), key.data()); };
            EXPECT_EQ(c.too_late ? with_fault(seems, run) : run(), at_output ? c.status_at_output : c.status_at_input);
            EXPECT_EQ(key == subject.public_key(), c.status_at_input == 0);
            EXPECT_EQ(std::distance(fs::directory_iterator(tmp), fs::directory_iterator()), seconds - c.taken);
            EXPECT_TRUE(c.too_late || get("elsewhere") == "kept");
        }
}

}  // namespace
}  // namespace ostdrv::test
