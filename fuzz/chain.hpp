// The one genuine chain that the targets know, in the files of chain/.
#ifndef OSTDRV_FUZZ_CHAIN_HPP
#define OSTDRV_FUZZ_CHAIN_HPP

#include "core/crypto.hpp"
#include "world.hpp"

namespace ostdrv::fuzz {

inline std::string chain_file(const std::string &name) { return std::string(OSTDRV_FUZZ_CHAIN) + "/" + name; }

// A SEQUENCE's length is taken for one byte behind 81, for two behind anything else.
inline std::size_t header_size(ByteView sequence) { return sequence[0] == 0x30 && sequence[1] == 0x81 ? 3 : 4; }
inline std::size_t whole_size(ByteView sequence) {
    const std::size_t header = header_size(sequence);
    return header + (header == 3 ? sequence[2] : static_cast<std::size_t>(sequence[2] << 8 | sequence[3]));
}

class Certificate {
 public:
    explicit Certificate(const std::string &name) : der_(2048) {
        std::size_t size = der_.size();
        expect(tpm_cert_read_cert_from_file(chain_file(name).c_str(), der_.data(), &size) == 0, "the chain is there");
        der_.resize(size);
    }
    const Bytes &der() const { return der_; }
    ByteView tbs() const {
        const ByteView content = ByteView(der_).subspan(header_size(der_));
        return content.first(whole_size(content));
    }
    // Runs the openssl command.
    sim::PublicKey public_key() const {
        sim::PublicKey key{};
        expect(tpm_get_pubkey_from_tbs(der_.data(), der_.size(), key.data()) == 0, "the chain's keys can be read");
        return key;
    }

 private:
    Bytes der_;
};

}  // namespace ostdrv::fuzz

#endif
