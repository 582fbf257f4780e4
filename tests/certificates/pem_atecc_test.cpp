#include "certificates/chain.hpp"

namespace ostdrv::test {
namespace {

class PemReader : public World {
 protected:
    const Authority owner{"PEM"};
    const Bytes der = owner.issue(owner);
    const std::string pem = pem_of(der);
};

TEST_F(PemReader, TheCapacityIsComparedWithTheFileNotTheDer) {
    const std::string file = put("cert.pem", pem);
    Bytes out(pem.size(), 0xEE);
    size_t len = pem.size();
    EXPECT_EQ(tpm_cert_read_cert_from_file(file.c_str(), out.data(), &len), 0);
    EXPECT_EQ(len, der.size());
    EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<long>(len)), der);
    EXPECT_EQ(out[len], 0xEE);
    len = pem.size() - 1;
    EXPECT_EQ(tpm_cert_read_cert_from_file(file.c_str(), out.data(), &len), 5);
    EXPECT_EQ(len, pem.size() - 1);
}

TEST_F(PemReader, HostileFilesGetAStatusAndChangeNothing) {
    std::vector<std::pair<std::string, int>> cases = {{"", 2},
                                                      {std::string(700, '\0'), 2},
                                                      {"-----BEGIN CERTIFICATE-----\n--", 2},
                                                      {std::string(2000, 'A'), 5},
                                                      {pem.substr(0, 40) + "*" + pem.substr(41), 2}};
    for (size_t cut = 1; cut < pem.size() - 25; cut += 13) cases.push_back({pem.substr(0, cut), 2});
    Bytes out(1024, 0xEE);
    size_t len = out.size();
    const auto read = [&](const std::string &file) {
        return tpm_cert_read_cert_from_file(file.c_str(), out.data(), &len);
    };
    for (const auto &[text, status] : cases) EXPECT_EQ(read(put("cert.pem", text)), status) << text;
    EXPECT_EQ(tpm_cert_read_cert_from_file(nullptr, out.data(), &len), 6);
    EXPECT_EQ(read(path("missing")), 8);
    EXPECT_NE(read(path("")), 0) << "a directory";

    const std::string file = put("cert.pem", pem);
    EXPECT_EQ(with_fault({.name = "ftell"}, [&] { return read(file); }), 8);
    EXPECT_EQ(with_fault({.name = "fread", .has_result = true, .result = 10}, [&] { return read(file); }), 8);
    if (allocations_can_fail) {
        EXPECT_EQ(with_fault({.name = "calloc", .nth = 2}, [&] { return read(file); }), 5);
    }
    EXPECT_EQ(len, 1024u);
    EXPECT_EQ(out, Bytes(1024, 0xEE));
}

}  // namespace
}  // namespace ostdrv::test
