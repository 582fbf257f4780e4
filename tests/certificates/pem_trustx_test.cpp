#include "certificates/trustx_world.hpp"

namespace ostdrv::test {
namespace {

const std::string header = "-----BEGIN CERTIFICATE-----", footer = "-----END CERTIFICATE-----";

class PemTrustx : public TrustxWorld {
 protected:
    int write(const Bytes &bytes) const {
        return tpm_octet_string_to_pem_file(path("out").c_str(), bytes.data(), bytes.size());
    }
    struct Result {
        int status;
        Bytes bytes;
        bool operator==(const Result &) const = default;
    };
    // A capacity is handed over with that many bytes and not one more; what a failure must not touch is watched.
    static Result read(const std::string &file, std::size_t capacity = 64) {
        Bytes out(capacity, 0xee);
        std::size_t length = capacity;
        const int status = tpm_pem_file_to_octet_string(file.c_str(), out.data(), &length);
        if (status != 0) {
            EXPECT_EQ(length, capacity);
            EXPECT_TRUE(status == 17 || out == Bytes(capacity, 0xee));
            return {status, {}};
        }
        out.resize(length);
        return {status, out};
    }
    Result read_text(const std::string &text, std::size_t capacity = 64) const {
        return read(put("in.pem", text), capacity);
    }
};

TEST_F(PemTrustx, WritesLinesOf64WithCarriageReturns) {
    const std::string line(64, 'A');
    const std::pair<std::size_t, std::string> cases[] = {
        {2, "AAA=\r\n"},
        {48, line + "\r\n"},
        {49, line + "\r\nAA==\r\n"},
        {96, line + "\r\n" + line + "\r\n"},
    };
    for (const auto &[size, body] : cases) {
        EXPECT_EQ(write(Bytes(size)), 0) << size;
        EXPECT_EQ(get("out"), header + "\r\n" + body + footer + "\r\n") << size;
    }
    const Authority owner("owner");
    const Bytes certificate = owner.issue(owner);
    EXPECT_EQ(write(certificate), 0);
    EXPECT_EQ(der_of(get("out")), certificate);
    EXPECT_EQ(read(path("out"), certificate.size()), (Result{0, certificate}));
}

TEST_F(PemTrustx, WriterRefusesBeforeItTouchesAnything) {
    const std::uint8_t bytes[4] = {};
    const std::string out = path("out");
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(tpm_octet_string_to_pem_file(out.c_str(), nullptr, 4), 3);
                  EXPECT_EQ(tpm_octet_string_to_pem_file(out.c_str(), bytes, 0), 3);
                  EXPECT_EQ(tpm_octet_string_to_pem_file(out.c_str(), bytes, 1), 3);
                  EXPECT_EQ(tpm_octet_string_to_pem_file(nullptr, bytes, 4), 3);
              }).size(),
              0u);
    EXPECT_FALSE(exists("out"));
    EXPECT_EQ(tpm_octet_string_to_pem_file(path("no/such").c_str(), bytes, 4), 8);
    EXPECT_EQ(tpm_octet_string_to_pem_file("/dev/full", bytes, 4), 8) << "noticed when the file is closed";
}

TEST_F(PemTrustx, EveryFailureOfTheWriterHasItsStatus) {
    fail_each_call([&] { return write(Bytes(100)); },
                   [&](int status, const std::string &call) {
                       EXPECT_EQ(status, call == "trustX_encodeBase64" ? 17 : 8);
                       EXPECT_EQ(exists("out"), call.starts_with("f") && call != "fopen");
                   });
    if (!allocations_can_fail) return;
    std::filesystem::remove(path("out"));
    EXPECT_EQ(with_fault({.name = "calloc"}, [&] { return write(Bytes(100)); }), 5);
    EXPECT_FALSE(exists("out"));
}

TEST_F(PemTrustx, ReadsWhateverStandsAroundTheText) {
    const Bytes abcdef{'a', 'b', 'c', 'd', 'e', 'f'};  // YWJjZGVm
    const std::string other = footer + "\n" + header + "\nAAAA\n" + footer + "\n";
    for (const std::string &text : {
             header + "\r\nYWJjZGVm\r\n" + footer + "\r\n",
             header + "\nYWJj\nZGVm\n" + footer,
             header + "\n\n YWJj \t\n\n ZG*Vm.\xff  \n" + footer,
             header + "\nYWJjZGVm\n" + other,
             header + "YWJjZGVm-AAAA",
             header + "\nYWJjZGVm",
             header + std::string("\nYW\0JjZGV\0m", 11) + "\n-----END NOTHING",
         })
        EXPECT_EQ(read_text(text), (Result{0, abcdef})) << text;
}

TEST_F(PemTrustx, RefusesWhatIsNoCertificateFile) {
    const std::string body = "\nYWJjZGVm\n" + footer + "\n";
    const struct {
        std::string text;
        int status;
    } cases[] = {{"", 8},
                 {"-----BEGIN CERTIFICATE----", 8},
                 {"\n" + header + body, 8},
                 {"\xef\xbb\xbf" + header + body, 8},
                 {"-----BEGIN CERTIFICATE REQUEST-----" + body, 8},
                 {"-----begin certificate-----" + body, 8},
                 {header + "\nYWJjZGV\n" + footer, 17},
                 {header + "\nYW=jZGVm\n" + footer, 17}};
    for (const auto &c : cases) EXPECT_EQ(read_text(c.text).status, c.status) << c.text;
    for (const std::string &file : {path("missing"), path(""), std::string("/dev/null"), std::string("/dev/zero")})
        EXPECT_EQ(read(file).status, 8) << file;

    EXPECT_EQ(read_text(header + body, 6).status, 0);
    EXPECT_EQ(read_text(header + body, 5).status, 17);
    std::uint8_t out[8];
    for (std::size_t length : {0u, 1u})
        EXPECT_EQ(tpm_pem_file_to_octet_string(path("in.pem").c_str(), out, &length), 3);
    std::size_t length = sizeof out;
    EXPECT_EQ(tpm_pem_file_to_octet_string(nullptr, out, &length), 3);
    EXPECT_EQ(tpm_pem_file_to_octet_string(path("in.pem").c_str(), nullptr, &length), 3);
}

// The text buffer follows from the size alone: no file, and no size that a file system reports for one, may overrun it.
TEST_F(PemTrustx, KeepsToItsBufferWhateverSizeIsReported) {
    for (std::size_t kept = 0; kept < 40; ++kept) {
        const auto result = read_text(header + std::string(kept, 'A'));
        EXPECT_EQ(result, (kept % 4 == 0 ? Result{0, Bytes(kept / 4 * 3)} : Result{17, {}})) << kept;
    }
    const std::string grown = put("grown.pem", header + std::string(4000, 'A'));
    const std::pair<long, Result> sizes[] = {{-1, {8, {}}},         {0, {0, {}}},          {27, {0, {}}},
                                             {30, {17, {}}},        {31, {0, Bytes(3)}},   {35, {0, Bytes(6)}},
                                             {1610612734, {5, {}}}, {2147483648, {5, {}}}, {4294967327, {5, {}}}};
    for (const auto &[size, result] : sizes)
        EXPECT_EQ(with_fault({.name = "ftell", .has_result = true, .result = size}, [&] { return read(grown); }),
                  result)
            << size;
    const auto shrunk = [&] { return read_text(header + "AAAA"); };
    EXPECT_EQ(with_fault({.name = "ftell", .has_result = true, .result = 9000}, shrunk), (Result{0, Bytes(3)}));
}

TEST_F(PemTrustx, EveryFailureOfTheReaderHasItsStatus) {
    const std::string file = put("in.pem", header + "AAAAAAAA" + footer);
    int kept = -1;  // characters read so far; the first read is the header's
    fail_each_call([&] { return read(file).status; },
                   [&](int status, const std::string &call) {
                       if (call == "fread" && kept++ >= 0)
                           EXPECT_EQ(status, (kept - 1) % 4 == 0 ? 0 : 17) << "ends the text";
                       else
                           EXPECT_EQ(status, call == "fclose" ? 0 : call == "trustX_decodeBase64" ? 17 : 8);
                   });
    EXPECT_EQ(kept, 9) << "eight characters and the footer's first";
    if (!allocations_can_fail) return;
    EXPECT_EQ(with_fault({.name = "calloc"}, [&] { return read(file).status; }), 5);
}

}  // namespace
}  // namespace ostdrv::test
