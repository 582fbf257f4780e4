// The reader of the openssl command's ASN.1 dump. The input is the dump of a certificate that could be anything.
#include <cstring>

#include "world.hpp"

namespace ostdrv::fuzz {

void fit(World &) {}

void try_input(const World &world, ByteView dump) {
    for (const std::size_t size : {2048u, 300u, 63u}) {
        Output der(size), key(64);
        atcacert_def_t before, after;
        std::memset(&before, 0xA5, sizeof before);
        std::memcpy(&after, &before, sizeof before);
        world.answer_with_dumps({dump, dump});
        const int status = tpm_cert_reconfig_atcacert_def(&after, der.data(), size);
        expect(status == 0 || std::memcmp(&before, &after, sizeof before) == 0, "a refusal leaves everything alone");
        for (const auto &place : {after.tbs_cert_loc, after.std_cert_elements[STDCERT_PUBLIC_KEY],
                                  after.std_cert_elements[STDCERT_SIGNATURE]})
            expect(place.offset == 0xA5A5 || std::size_t{place.offset} + place.count <= size, "a place lies inside");
        expect(tpm_get_pubkey_from_tbs(der.data(), size, key.data()) == 0, "no key is no failure");
    }
}

}  // namespace ostdrv::fuzz
