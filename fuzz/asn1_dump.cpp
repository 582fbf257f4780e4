// The reader of the openssl command's ASN.1 dump. The input is the dump of a certificate that could be anything.
#include <cstring>

#include "dump_files.hpp"

using namespace ostdrv::fuzz;

namespace {

constexpr std::size_t largest_der = 2048;
constexpr std::size_t key_size = 64;

class Reader {
 public:
    Reader(const World &world, ByteView dump) : world_(world), dump_(dump), der_(largest_der) {
        unsigned noise = 1;
        for (std::uint8_t &byte : der_) byte = static_cast<std::uint8_t>((noise = noise * 1103515245 + 12345) >> 16);
    }
    void check_places() const;
    void check_public_key() const;

 private:
    // A definition before and after the reader worked on it.
    struct Places {
        int status;
        atcacert_def_t before, after;

        const atcacert_cert_loc_t &tbs() const { return after.tbs_cert_loc; }
        const atcacert_cert_loc_t &key() const { return after.std_cert_elements[STDCERT_PUBLIC_KEY]; }
        const atcacert_cert_loc_t &signature() const { return after.std_cert_elements[STDCERT_SIGNATURE]; }
        bool untouched() const { return std::memcmp(&before, &after, sizeof before) == 0; }
        bool rest_untouched() const {
            Places copy;
            std::memcpy(&copy, this, sizeof copy);
            copy.after.tbs_cert_loc = before.tbs_cert_loc;
            for (const int element : {STDCERT_PUBLIC_KEY, STDCERT_SIGNATURE})
                copy.after.std_cert_elements[element] = before.std_cert_elements[element];
            return copy.untouched();
        }
    };
    struct Key {
        int status;
        Bytes bytes;  // empty when none was written
    };

    // The first bytes, in memory that ends with them.
    std::unique_ptr<std::uint8_t[]> der(std::size_t size) const {
        std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[size]);
        std::copy_n(der_.begin(), size, bytes.get());
        return bytes;
    }
    Places places(std::size_t size) const {
        Places result;
        std::memset(&result, 0xA5, sizeof result);
        answer_with_dumps(world_, {dump_});
        result.status = tpm_cert_reconfig_atcacert_def(&result.after, der(size).get(), size);
        expect(result.status == 0 || (result.status == 8 && result.untouched()),
               "a refusal leaves the definition alone");
        expect(result.rest_untouched(), "nothing but the three places is written");
        return result;
    }
    Key key(std::size_t size) const {
        Output key(key_size);
        answer_with_dumps(world_, {dump_});
        const int status = tpm_get_pubkey_from_tbs(der(size).get(), size, key.data());
        expect(status == 0 || (status == 8 && key.is_untouched()), "a refusal leaves the key alone");
        const ByteView bytes = key.first(key.is_untouched() ? 0 : key_size);
        return {status, {bytes.begin(), bytes.end()}};
    }

    const World &world_;
    ByteView dump_;
    Bytes der_;
};

void Reader::check_places() const {
    const Places all = places(largest_der);
    if (all.status != 0) return;
    std::size_t end = 0;
    const std::size_t untouched_offset = all.before.tbs_cert_loc.offset;
    for (const atcacert_cert_loc_t *place : {&all.tbs(), &all.key(), &all.signature()}) {
        if (place->offset == untouched_offset) continue;
        expect(place->offset + std::size_t{place->count} <= largest_der, "a place lies inside the certificate");
        end = std::max(end, place->offset + std::size_t{place->count});
    }
    if (end > 0) expect(places(end - 1).status == 8, "a place that ends outside the certificate is refused");
}

void Reader::check_public_key() const {
    const Key all = key(largest_der);
    if (all.status != 0 || all.bytes.empty()) return;
    const auto found = std::search(der_.begin(), der_.end(), all.bytes.begin(), all.bytes.end());
    expect(found != der_.end(), "the key is the certificate's own bytes");
    const std::size_t end = static_cast<std::size_t>(found - der_.begin()) + key_size;
    expect(key(end).bytes == all.bytes, "a key at the very end is read");
    expect(key(end - 1).status == 8, "a key that ends outside the certificate is refused");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const World world({.chip = "none"});
    const NothingLeftOpen nothing_left_open;
    const Reader reader(world, {data, size});
    reader.check_places();
    reader.check_public_key();
    return 0;
}
