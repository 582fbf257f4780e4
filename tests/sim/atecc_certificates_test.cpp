#include "atecc/chip_access.hpp"
#include "certificates/authority.hpp"
#include "world.hpp"

#include <cryptoauthlib.h>

#include <algorithm>
#include <memory>
#include <random>

namespace ostdrv::test {
namespace {

// A copy of exactly its size on the heap, so that a sanitizer sees a read past its end.
template <typename T>
std::unique_ptr<T[]> exact(const T *from, std::size_t size) {
    std::unique_ptr<T[]> copy(new T[size]);
    std::copy_n(from, size, copy.get());
    return copy;
}

class AteccCertificates : public World {
 public:
    AteccCertificates() {
        EXPECT_EQ(atcab_init(&tpm_iface_config_i2c), 0);
        EXPECT_EQ(atcab_write_config_zone(tpm_config_data), 0);
        EXPECT_EQ(atcab_lock_config_zone(), 0);
        EXPECT_EQ(atcab_lock_data_zone(), 0);
        sim::change_atecc([&](sim::AteccState &chip) { sim::place_private_key(chip, 0, device.private_key()); });
    }

    // For a certificate whose compressed form goes to slot 10 and whose key goes to slot 11.
    static atcacert_def_t definition_of(const Bytes &certificate) {
        const CertificateParts parts = parts_of(certificate);
        const auto u16 = [](std::size_t value) { return static_cast<std::uint16_t>(value); };
        const std::size_t signature = parts.tbs_offset + parts.tbs_size + 12;
        atcacert_def_t definition{};
        definition.issue_date_format = definition.expire_date_format = DATEFMT_RFC5280_UTC;
        definition.cert_sn_dev_loc.zone = DEVZONE_NONE;
        definition.tbs_cert_loc = {u16(parts.tbs_offset), u16(parts.tbs_size)};
        definition.public_key_dev_loc = {DEVZONE_DATA, 11, 0, 0, 64};
        definition.comp_cert_dev_loc = {DEVZONE_DATA, 10, 0, 0, 72};
        definition.std_cert_elements[STDCERT_PUBLIC_KEY] = {u16(parts.key_offset), 64};
        definition.std_cert_elements[STDCERT_SIGNATURE] = {u16(signature), u16(certificate.size() - signature)};
        definition.cert_template = certificate.data();
        definition.cert_template_size = u16(certificate.size());
        return definition;
    }
    static int write(const atcacert_def_t &definition, const Bytes &certificate) {
        return atcacert_write_cert(&definition, exact(certificate.data(), certificate.size()).get(),
                                   certificate.size());
    }
    static int read(const atcacert_def_t &definition, Bytes &certificate, std::size_t capacity = 1024) {
        std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[capacity]());
        const int status = atcacert_read_cert(&definition, nullptr, buffer.get(), &capacity);
        certificate.assign(buffer.get(), buffer.get() + (status ? 0 : capacity));
        return status;
    }
    static int verify(const atcacert_def_t &definition, const Bytes &certificate, const PublicKey &key) {
        return atcacert_verify_cert_hw(&definition, exact(certificate.data(), certificate.size()).get(),
                                       certificate.size(), key.data());
    }

    Authority root{"root"}, signer{"signer A1B2"}, device{"device"};
};

TEST_F(AteccCertificates, ComeBackByteForByteInEveryShape) {
    for (const bool extensions : {true, false})
        for (const std::size_t r : {31u, 32u, 33u})
            for (const std::size_t s : {32u, 33u})
                for (const std::size_t size : {0u, 255u, 256u, 416u, 700u}) {
                    if (extensions && size != 0 && size < 400) continue;
                    if (size != 0 && r == 31) continue;
                    SCOPED_TRACE(testing::Message() << extensions << " r " << r << " s " << s << " tbs " << size);
                    const Wishes wishes{.extensions = extensions, .tbs_size = size, .r_length = r, .s_length = s};
                    const Bytes certificate = root.issue(signer, wishes);
                    atcacert_def_t definition = definition_of(certificate);
                    ASSERT_EQ(write(definition, certificate), 0);

                    Bytes scrambled = certificate, rebuilt;
                    const CertificateParts parts = parts_of(certificate);
                    std::fill_n(scrambled.begin() + std::ptrdiff_t(parts.key_offset), 64, std::uint8_t{0x11});
                    std::fill(scrambled.begin() + std::ptrdiff_t(parts.integers_offset), scrambled.end(), 0x22);
                    definition.cert_template = scrambled.data();
                    ASSERT_EQ(read(definition, rebuilt), 0);
                    EXPECT_EQ(rebuilt, certificate);
                    EXPECT_EQ(verify(definition, rebuilt, root.public_key()), 0);
                    EXPECT_EQ(verify(definition, rebuilt, signer.public_key()), ATCACERT_E_VERIFY_FAILED);
                }
    const Bytes slot = sim::look_into_slot(11);
    EXPECT_TRUE(std::ranges::equal(sim::ByteView(slot).first(64), signer.public_key()));
}

TEST_F(AteccCertificates, AGeneratedKeyIsComputedAndNeverStored) {
    const Bytes certificate = signer.issue(device);
    atcacert_def_t definition = definition_of(certificate);
    definition.public_key_dev_loc = {DEVZONE_DATA, 0, 1, 0, 64};
    const Bytes before = sim::look_into_slot(11);
    ASSERT_EQ(write(definition, certificate), 0);
    EXPECT_EQ(sim::look_into_slot(11), before);

    // The template may lie in the buffer that the certificate goes to.
    Bytes buffer = certificate;
    std::fill_n(buffer.begin() + definition.std_cert_elements[STDCERT_PUBLIC_KEY].offset, 64, std::uint8_t{0});
    definition.cert_template = buffer.data();
    std::size_t size = buffer.size();
    ASSERT_EQ(atcacert_read_cert(&definition, nullptr, buffer.data(), &size), 0);
    EXPECT_EQ(buffer, certificate);

    const Bytes foreign = signer.issue(Authority("someone else"));
    definition = definition_of(foreign);
    definition.public_key_dev_loc = {DEVZONE_DATA, 0, 1, 0, 64};
    ASSERT_EQ(write(definition, foreign), 0);
    Bytes rebuilt;
    ASSERT_EQ(read(definition, rebuilt), 0);
    EXPECT_EQ(verify(definition, rebuilt, signer.public_key()), ATCACERT_E_VERIFY_FAILED) << "not this chip's key";
}

TEST_F(AteccCertificates, NoChangedBitIsEverVerified) {
    const Bytes certificate = root.issue(signer);
    const atcacert_def_t definition = definition_of(certificate);
    ASSERT_EQ(write(definition, certificate), 0);
    for (std::size_t bit = 0; bit < 8 * certificate.size(); ++bit) {
        Bytes changed = certificate;
        changed[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        EXPECT_NE(verify(definition, changed, root.public_key()), 0) << "byte " << bit / 8;
    }
    const sim::AteccState sound = sim::look_into_atecc();
    for (unsigned bit = 0; bit < 8 * (72 + 64); ++bit) {
        sim::AteccState changed = sound;
        changed.slot(bit < 8 * 72 ? 10 : 11)[bit / 8 % 72] ^= static_cast<std::uint8_t>(1 << bit % 8);
        sim::change_atecc([&](sim::AteccState &chip) { chip = changed; });
        Bytes rebuilt;
        EXPECT_FALSE(read(definition, rebuilt) == 0 && verify(definition, rebuilt, root.public_key()) == 0) << bit;
    }
}

TEST_F(AteccCertificates, DatesAndSignerIdAreKeptWhereTheDefinitionHasThem) {
    const Bytes certificate = signer.issue(device);
    const auto find = [&](const std::string &text) {
        const auto at = std::search(certificate.begin(), certificate.end(), text.begin(), text.end());
        return atcacert_cert_loc_t{static_cast<std::uint16_t>(at - certificate.begin()),
                                   static_cast<std::uint16_t>(text.size())};
    };
    atcacert_def_t definition = definition_of(certificate);
    definition.template_id = 3;
    definition.chain_id = 1;
    definition.expire_years = 20;
    definition.std_cert_elements[STDCERT_ISSUE_DATE] = find("240101000000Z");
    definition.std_cert_elements[STDCERT_EXPIRE_DATE] = find("440101000000Z");
    definition.std_cert_elements[STDCERT_SIGNER_ID] = find("A1B2");
    ASSERT_EQ(write(definition, certificate), 0);
    const Bytes form = sim::look_into_slot(10);
    EXPECT_EQ(Bytes(form.end() - 8, form.end()), (Bytes{0xC0, 0x84, 0x14, 0xA1, 0xB2, 0x31, 0, 0}));

    Bytes blank = certificate, rebuilt;
    for (const auto element : {STDCERT_ISSUE_DATE, STDCERT_EXPIRE_DATE, STDCERT_SIGNER_ID})
        std::fill_n(blank.begin() + definition.std_cert_elements[element].offset,
                    definition.std_cert_elements[element].count, std::uint8_t{'0'});
    definition.cert_template = blank.data();
    ASSERT_EQ(read(definition, rebuilt), 0);
    EXPECT_EQ(rebuilt, certificate);
    definition.chain_id = 2;
    EXPECT_NE(read(definition, rebuilt), 0) << "stored for another chain";

    Bytes odd = certificate;
    odd[find("240101000000Z").offset + 9u] = '7';  // a minute, which the form does not hold
    EXPECT_NE(write(definition, odd), 0);
    definition.expire_years = 19;
    EXPECT_NE(write(definition, certificate), 0);
}

TEST_F(AteccCertificates, WhatCannotBeDoneChangesNothing) {
    const Bytes certificate = root.issue(signer);
    const atcacert_def_t good = definition_of(certificate);
    Bytes rebuilt;
    EXPECT_NE(read(good, rebuilt), 0) << "nothing was stored";
    ASSERT_EQ(write(good, certificate), 0);
    EXPECT_EQ(read(good, rebuilt, certificate.size()), 0);
    EXPECT_EQ(read(good, rebuilt, certificate.size() - 1), ATCACERT_E_BUFFER_TOO_SMALL);

    const auto before = sim::look_into_atecc();
    const auto with = [&](auto change) {
        atcacert_def_t definition = good;
        change(definition);
        return definition;
    };
    const struct {
        const char *what;
        atcacert_def_t definition;
        bool writes;  // so wrong that it cannot even be written
    } cases[] = {
        {"not X.509", with([](auto &d) { d.type = CERTTYPE_CUSTOM; }), true},
        {"wrong signed part", with([](auto &d) { ++d.tbs_cert_loc.offset; }), true},
        {"signed part too long", with([](auto &d) { d.tbs_cert_loc.count = 0xFFFF; }), true},
        {"key outside the signed part",
         with([](auto &d) { d.std_cert_elements[0].offset = d.std_cert_elements[1].offset; }), true},
        {"key of another size", with([](auto &d) { d.std_cert_elements[0].count = 65; }), true},
        {"signature past the end", with([](auto &d) { d.std_cert_elements[1].offset = 0xFFF0; }), true},
        {"signature in the signed part", with([](auto &d) { d.std_cert_elements[1].offset = 20; }), true},
        {"form of another size", with([](auto &d) { d.comp_cert_dev_loc.count = 71; }), true},
        {"form where no slot is", with([](auto &d) { d.comp_cert_dev_loc.slot = 16; }), true},
        {"form in too small a slot", with([](auto &d) { d.comp_cert_dev_loc.slot = 7; }), true},
        {"no template", with([](auto &d) { d.cert_template = nullptr; }), false},
        {"template cut short", with([](auto &d) { d.cert_template_size -= 1; }), false},
        {"no form", with([](auto &d) { d.comp_cert_dev_loc.zone = DEVZONE_NONE; }), false},
        {"key generated where none is", with([](auto &d) {
             d.public_key_dev_loc = {DEVZONE_DATA, 1, 1, 0, 64};
         }),
         false},
    };
    for (const auto &c : cases) {
        EXPECT_NE(read(c.definition, rebuilt), 0) << c.what;
        if (c.writes) {
            EXPECT_NE(write(c.definition, certificate), 0) << c.what;
        }
    }
    EXPECT_EQ(sim::look_into_atecc(), before);

    const Bytes form = sim::look_into_slot(10);
    ASSERT_EQ(atcab_lock_data_slot(10), 0);
    EXPECT_EQ(write(good, root.issue(signer)), ATCACERT_E_ERROR);
    EXPECT_EQ(sim::look_into_slot(10), form);
}

TEST_F(AteccCertificates, NoDefinitionAndNoBytesLeadPastABuffer) {
    std::mt19937 random(20240101);
    const Bytes certificate = root.issue(signer);
    const atcacert_def_t good = definition_of(certificate);
    ASSERT_EQ(write(good, certificate), 0);
    for (int round = 0; round < 4000; ++round) {
        atcacert_def_t definition = good;
        Bytes bytes = certificate;
        atcacert_cert_loc_t *const locations[] = {&definition.tbs_cert_loc, &definition.std_cert_elements[0],
                                                  &definition.std_cert_elements[1], &definition.std_cert_elements[2],
                                                  &definition.std_cert_elements[4]};
        for (auto changes = random() % 3; changes > 0; --changes) {
            atcacert_cert_loc_t &location = *locations[random() % 5];
            (random() % 2 ? location.offset : location.count) = static_cast<std::uint16_t>(random() >> random() % 32);
        }
        for (auto changes = random() % 4; changes > 0; --changes)
            bytes[random() % (random() % 2 ? 24 : bytes.size())] = static_cast<std::uint8_t>(random());
        if (random() % 4 == 0) bytes.resize(random() % bytes.size());
        const auto held = exact(bytes.data(), bytes.size());
        definition.cert_template = held.get();
        definition.cert_template_size = static_cast<std::uint16_t>(bytes.size());
        Bytes rebuilt;
        read(definition, rebuilt, random() % 1024);
        verify(definition, bytes, root.public_key());
        write(definition, bytes);
    }
}

TEST_F(AteccCertificates, RequestsAreSoundForEverySignatureLength) {
    const std::string name = "SN-0123456789ABCD";
    std::copy(name.begin(), name.end(), g_csr_template + 22);
    std::vector<std::size_t> sizes;
    while (std::ranges::count(sizes, 236) == 0 || std::ranges::count(sizes, 238) == 0) {
        std::string text(512, '#');
        std::size_t size = 512;
        ASSERT_EQ(atcacert_create_csr_pem(&g_csr_def, text.data(), &size), 0);
        EXPECT_EQ(text.substr(size), std::string(512 - size, '#')) << "no terminating zero";
        text.resize(size);
        EXPECT_TRUE(text.starts_with("-----BEGIN CERTIFICATE REQUEST-----\r\n"));
        EXPECT_TRUE(text.ends_with("\r\n-----END CERTIFICATE REQUEST-----\r\n"));
        const Bytes request = der_of(text, "CERTIFICATE REQUEST");
        EXPECT_TRUE(request_is_sound(request, name, device.public_key()));
        EXPECT_EQ((Bytes{request[0], request[1], request[2]}), (Bytes{0x30, 0x81, std::uint8_t(request.size() - 3)}));
        sizes.push_back(request.size());

        std::size_t small = size - 4;
        const int status = atcacert_create_csr_pem(&g_csr_def, text.data(), &small);
        EXPECT_TRUE(status == 0 || (status == ATCACERT_E_BUFFER_TOO_SMALL && small >= size - 4));
    }
    std::size_t size = 512;
    char text[512];
    atcacert_def_t bad = g_csr_def;
    bad.private_key_slot = 1;
    EXPECT_EQ(atcacert_create_csr_pem(&bad, text, &size), ATCACERT_E_ERROR);
    bad = g_csr_def;
    bad.cert_template_size = 230;
    EXPECT_EQ(atcacert_create_csr_pem(&bad, text, &size), ATCACERT_E_DECODING_ERROR);
}

TEST_F(AteccCertificates, AResponseProvesTheKey) {
    sim::Digest challenge{1, 2, 3};
    sim::Signature response;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(atcacert_get_response(0, challenge.data(), response.data()), 0); }),
              std::vector<std::string>{"atcacert_get_response(0)"});
    EXPECT_TRUE(sim::p256_verify(device.public_key(), challenge, response));
    EXPECT_EQ(atcacert_get_response(5, challenge.data(), response.data()), ATCACERT_E_ERROR);
    EXPECT_EQ(with_fault({}, [&] { return atcacert_get_response(0, challenge.data(), response.data()); }), 1);
}

int decode(const std::string &text, Bytes &der, std::size_t capacity = 1024) {
    std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[capacity]);
    const int status =
        atcacert_decode_pem_cert(exact(text.data(), text.size()).get(), text.size(), buffer.get(), &capacity);
    if (status == 0) der.assign(buffer.get(), buffer.get() + capacity);
    return status;
}

TEST(AteccPem, EncodesAsWritersOfCertificatesDo) {
    for (const std::size_t size : {1u, 2u, 3u, 47u, 48u, 49u, 96u, 500u}) {
        Bytes der(size), back;
        for (std::size_t i = 0; i < size; ++i) der[i] = static_cast<std::uint8_t>(i * 37);
        std::string expected = pem_of(der);
        for (std::size_t at = 0; (at = expected.find('\n', at)) != expected.npos; at += 2) expected.insert(at, "\r");
        std::string text(expected.size(), '#');
        std::size_t length = text.size();
        ASSERT_EQ(atcacert_encode_pem_cert(der.data(), size, text.data(), &length), 0);
        EXPECT_EQ(text, expected);
        EXPECT_EQ(length, expected.size());
        --length;
        EXPECT_EQ(atcacert_encode_pem_cert(der.data(), size, text.data(), &length), ATCACERT_E_BUFFER_TOO_SMALL);
        EXPECT_EQ(length, expected.size());
        for (const std::string &form :
             {expected, pem_of(der), "text before\n" + expected + "and after", expected + expected}) {
            EXPECT_EQ(decode(form, back, size), 0);
            EXPECT_EQ(back, der);
        }
        EXPECT_EQ(decode(expected, back, size - 1), ATCACERT_E_BUFFER_TOO_SMALL);
    }
}

TEST(AteccPem, RefusesWhatIsNotACertificate) {
    const std::string header = "-----BEGIN CERTIFICATE-----\n", footer = "-----END CERTIFICATE-----\n";
    const auto body = [&](const std::string &text) { return header + text + footer; };
    Bytes der;
    EXPECT_EQ(decode(body("QUJD\n \t\r\nREVG\n"), der), 0);
    EXPECT_EQ(der, (Bytes{'A', 'B', 'C', 'D', 'E', 'F'}));
    for (const char *text : {"", "\n\n", "QUJ", "QUJDR", "QU=D", "QQ=", "Q===", "====", "QUI=QUJD", "QR==", "QU*D",
                             "QUJD\xff", "-----BEGIN CERTIFICATE-----\nQUJD\n"})
        EXPECT_EQ(decode(body(text), der), ATCACERT_E_DECODING_ERROR) << text;
    for (const std::string &text :
         {std::string(), std::string(64, '\0'), footer + header, header + "QUJD\n", "QUJD\n" + footer,
          body(std::string("QU\0JD", 5)), pem_of({1, 2, 3}, "CERTIFICATE REQUEST")})
        EXPECT_EQ(decode(text, der), ATCACERT_E_DECODING_ERROR) << text;
    const std::string whole = body("QUJD\n");
    for (std::size_t size = 0; size < whole.size() - 1; ++size)
        EXPECT_EQ(decode(whole.substr(0, size), der), ATCACERT_E_DECODING_ERROR) << size;
}

}  // namespace
}  // namespace ostdrv::test
