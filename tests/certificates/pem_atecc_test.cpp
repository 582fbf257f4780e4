#include "certificates/chains.hpp"

namespace ostdrv::test {
namespace {

class PemReader : public World {
 protected:
    Bytes der = Authority("PEM CA").issue("PEM subject", PublicKey(Authority("x").public_key()), {.tbs_size = 400});
};

TEST_F(PemReader, TheCapacityIsComparedWithTheFileNotTheDer) {
    const std::string pem = pem_of(der);
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
    const std::string pem = pem_of(der);
    const std::string empty_body = "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n";
    std::string binary(700, '\0');
    for (size_t i = 0; i < binary.size(); ++i) binary[i] = static_cast<char>(i * 37);
    std::vector<std::pair<std::string, int>> cases = {{"", 2},
                                                      {"\n", 2},
                                                      {binary, 2},
                                                      {"-----BEGIN CERTIFICATE-----", 2},
                                                      {std::string(2000, 'A'), 5},
                                                      {pem.substr(0, 40) + "*" + pem.substr(41), 2},
                                                      {empty_body.substr(0, 30), 2}};
    for (size_t cut = 1; cut < pem.size() - 25; cut += 13) cases.push_back({pem.substr(0, cut), 2});
    for (const auto &[text, status] : cases) {
        Bytes out(1024, 0xEE);
        size_t len = out.size();
        const Remains before = remains();
        EXPECT_EQ(tpm_cert_read_cert_from_file(put("cert.pem", text).c_str(), out.data(), &len), status) << text;
        EXPECT_EQ(len, 1024u);
        EXPECT_EQ(out, Bytes(1024, 0xEE));
        EXPECT_EQ(remains(), before);
    }
    size_t len = 1024;
    Bytes out(1024);
    EXPECT_EQ(tpm_cert_read_cert_from_file(nullptr, out.data(), &len), 6);
    EXPECT_EQ(tpm_cert_read_cert_from_file(path("missing").c_str(), out.data(), &len), 8);
    EXPECT_NE(tpm_cert_read_cert_from_file(path("").c_str(), out.data(), &len), 0) << "a directory";
}

TEST_F(PemReader, EveryFailingCallHasItsStatusAndLeavesNothing) {
    const std::string file = put("cert.pem", pem_of(der));
    Bytes out(1024);
    const auto read = [&] {
        size_t len = out.size();
        return tpm_cert_read_cert_from_file(file.c_str(), out.data(), &len);
    };
    const Remains before = remains();
    const std::pair<sim::Fault, int> cases[] = {
        {{.name = "fopen"}, 8},
        {{.name = "fseek", .nth = 1}, 8},
        {{.name = "fseek", .nth = 2}, 8},
        {{.name = "ftell"}, 8},
        {{.name = "fread", .has_result = true, .result = 10}, 8},
        {{.name = "atcacert_decode_pem_cert"}, 2},
        {{.name = "calloc", .nth = 1}, 5},
        {{.name = "calloc", .nth = 2}, 5},
    };
    for (const auto &[fault, status] : cases) {
        if (fault.name == "calloc" && !allocations_can_fail) continue;
        EXPECT_EQ(with_fault(fault, read), status) << fault.name;
        EXPECT_EQ(remains(), before) << fault.name;
    }
}

}  // namespace
}  // namespace ostdrv::test
