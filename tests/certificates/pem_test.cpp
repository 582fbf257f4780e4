// PEM files: the reader of the ATECC library, then reader and writer of the Trust X library.
#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

class PemReader : public World {
 protected:
    const Bytes der = pattern(400);
    const std::string pem = pem_of(der);
    Bytes out = Bytes(1024, 0xEE);
    std::size_t length = 0;

    int read(const std::string &file, std::size_t capacity = 1024) {
        length = capacity;
        return tpm_cert_read_cert_from_file(file.c_str(), out.data(), &length);
    }
};

TEST_F(PemReader, TheCapacityIsComparedWithTheFileNotTheDer) {
    EXPECT_EQ(read(put("cert.pem", pem), pem.size() - 1), 5);
    EXPECT_EQ(length, pem.size() - 1);
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(read(put("cert.pem", pem), pem.size()), 0);
    EXPECT_EQ(length, der.size());
    EXPECT_TRUE(std::equal(der.begin(), der.end(), out.begin()));
    EXPECT_EQ(out[length], 0xEE);
}

TEST_F(PemReader, HostileFilesGetAStatusAndChangeNothing) {
    std::vector<std::pair<std::string, int>> cases = {{"", 2},
                                                      {std::string(700, '\0'), 2},
                                                      {"-----BEGIN CERTIFICATE-----\n--", 2},
                                                      {std::string(2000, 'A'), 5},
                                                      {pem.substr(0, 40) + "*" + pem.substr(41), 2}};
    for (std::size_t cut = 1; cut < pem.size() - 25; cut += 13) cases.push_back({pem.substr(0, cut), 2});
    for (const auto &[text, status] : cases) EXPECT_EQ(read(put("cert.pem", text)), status) << text;
    EXPECT_EQ(tpm_cert_read_cert_from_file(nullptr, out.data(), &length), 6);
    EXPECT_EQ(read(path("missing")), 8);
    EXPECT_NE(read(path("")), 0) << "a directory";
    const auto again = [&] { return read(put("cert.pem", pem)); };
    EXPECT_EQ(with_fault({.name = "fread", .has_result = true, .result = 10}, again), 8);
    EXPECT_EQ(length, 1024u);
    EXPECT_EQ(out, Bytes(1024, 0xEE));
}

const std::string header = "-----BEGIN CERTIFICATE-----", footer = "-----END CERTIFICATE-----";

class PemTrustx : public Trustx {
 protected:
    int write(const Bytes &bytes) const {
        return tpm_octet_string_to_pem_file(path("out").c_str(), bytes.data(), bytes.size());
    }
    using Result = std::pair<int, Bytes>;
    // A capacity is handed over with that many bytes and not one more.
    static Result read(const std::string &file, std::size_t capacity = 64) {
        Bytes out(capacity, 0xee);
        std::size_t length = capacity;
        const int status = tpm_pem_file_to_octet_string(file.c_str(), out.data(), &length);
        EXPECT_TRUE(status == 0 || length == capacity);
        if (status == 8) {
            EXPECT_EQ(out, Bytes(capacity, 0xee));
        }
        out.resize(status == 0 ? length : 0);
        return {status, out};
    }
    Result read_text(const std::string &text, std::size_t capacity = 64) const {
        return read(put("in.pem", text), capacity);
    }
};

TEST_F(PemTrustx, WritesLinesOf64WithCarriageReturns) {
    const std::string line(64, 'A');
    const std::pair<std::size_t, std::string> cases[] = {
        {2, "AAA=\r\n"}, {48, line + "\r\n"}, {49, line + "\r\nAA==\r\n"}};
    for (const auto &[size, body] : cases) {
        EXPECT_EQ(write(Bytes(size)), 0) << size;
        EXPECT_EQ(get("out"), header + "\r\n" + body + footer + "\r\n") << size;
    }
    const Bytes bytes = pattern(400);
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(write(bytes), 0); }).front(), "trustX_encodeBase64(1312, 400)");
    EXPECT_EQ(der_of(get("out")), bytes);
    EXPECT_EQ(read(path("out"), bytes.size()), (Result{0, bytes}));
}

TEST_F(PemTrustx, WriterRefusesBeforeItTouchesAnything) {
    const std::uint8_t bytes[4] = {};
    const std::string out = path("out");
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(tpm_octet_string_to_pem_file(out.c_str(), nullptr, 4), 3);
                  EXPECT_EQ(tpm_octet_string_to_pem_file(out.c_str(), bytes, 1), 3);
                  EXPECT_EQ(tpm_octet_string_to_pem_file(nullptr, bytes, 4), 3);
              }),
              Calls{});
    const auto write_some = [&] { return write(Bytes(100)); };
    EXPECT_EQ(with_fault({.name = "trustX_encodeBase64"}, write_some), 17);
    if (allocations_can_fail) {
        EXPECT_EQ(with_fault({.name = "calloc"}, write_some), 5);
    }
    EXPECT_FALSE(exists("out"));
    EXPECT_EQ(tpm_octet_string_to_pem_file(path("no/such").c_str(), bytes, 4), 8);
    EXPECT_EQ(tpm_octet_string_to_pem_file("/dev/full", bytes, 4), 8) << "noticed when the file is closed";
}

TEST_F(PemTrustx, ReadsWhateverStandsAroundTheText) {
    const Bytes abcdef{'a', 'b', 'c', 'd', 'e', 'f'};  // YWJjZGVm
    for (const std::string &text : {header + "\n\n YWJj \t\r\n\n ZG*Vm.\xff  \n" + footer,
                                    header + "\nYWJjZGVm\n" + footer + header + "\nAAAA\n" + footer,
                                    header + "YWJjZGVm-AAAA", header + std::string("\nYW\0JjZGV\0m", 11)})
        EXPECT_EQ(read_text(text), (Result{0, abcdef})) << text;
}

TEST_F(PemTrustx, RefusesWhatIsNoCertificateFile) {
    const std::string body = "\nYWJjZGVm\n" + footer + "\n";
    for (const std::string &text : {std::string(), std::string("-----BEGIN CERTIFICATE----"), "\n" + header + body,
                                    "-----BEGIN CERTIFICATE REQUEST-----" + body})
        EXPECT_EQ(read_text(text).first, 8) << text;
    for (const std::string &text : {header + "\nYWJjZGV\n" + footer, header + "\nYW=jZGVm\n" + footer})
        EXPECT_EQ(read_text(text).first, 17) << text;
    for (const std::string &file : {path("missing"), path(""), std::string("/dev/null"), std::string("/dev/zero")})
        EXPECT_EQ(read(file).first, 8) << file;
    EXPECT_EQ(read_text(header + body, 6).first, 0);
    EXPECT_EQ(read_text(header + body, 5).first, 17);
    std::uint8_t out[8];
    for (std::size_t length : {0u, 1u})
        EXPECT_EQ(tpm_pem_file_to_octet_string(path("in.pem").c_str(), out, &length), 3);
    std::size_t length = sizeof out;
    EXPECT_EQ(tpm_pem_file_to_octet_string(nullptr, out, &length), 3);
    EXPECT_EQ(tpm_pem_file_to_octet_string(path("in.pem").c_str(), nullptr, &length), 3);
    if (!allocations_can_fail) return;
    EXPECT_EQ(with_fault({.name = "calloc"}, [&] { return read(path("in.pem")).first; }), 5);
}

// The text buffer follows from the size alone: no file, and no size that a file system reports for one, may overrun it.
TEST_F(PemTrustx, KeepsToItsBufferWhateverSizeIsReported) {
    const std::string grown = put("grown.pem", header + std::string(4000, 'A'));
    const std::pair<long, Result> sizes[] = {{-1, {8, {}}},         {0, {0, {}}},         {27, {0, {}}},
                                             {30, {17, {}}},        {31, {0, Bytes(3)}},  {35, {0, Bytes(6)}},
                                             {1610612734, {5, {}}}, {4294967327, {5, {}}}};
    for (const auto &[size, result] : sizes)
        EXPECT_EQ(with_fault({.name = "ftell", .has_result = true, .result = size}, [&] { return read(grown); }),
                  result)
            << size;
    const auto shrunk = [&] { return read_text(header + "AAAA"); };
    EXPECT_EQ(with_fault({.name = "ftell", .has_result = true, .result = 9000}, shrunk), (Result{0, Bytes(3)}));
}

}  // namespace
}  // namespace ostdrv::test
