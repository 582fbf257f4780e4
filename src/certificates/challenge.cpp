#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "ostdrv.h"
#include "secure_element/chip_map.hpp"

using namespace ostdrv;

namespace {

// Decimal text of three random numbers, zero bytes behind it. Being different from last time is all that is asked of
// them here; a caller for whom that has to hold against an attacker makes a challenge of its own.
void fill_seed_text(char (&text)[64]) {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    const int first = std::rand();
    const int second = std::rand();
    const int third = std::rand();
    std::snprintf(text, sizeof text, "%d%d%d", first, second, third);
}

}  // namespace

int __cert_challenge(const uint8_t *public_key, uint8_t *is_verified) {
    if (!public_key || !is_verified) return TPM_ERR_ARGUMENT;
    *is_verified = 0;

    char text[64] = {};
    fill_seed_text(text);
    uint8_t challenge[digest_size] = {};
    if (atcac_sw_sha2_256(reinterpret_cast<const uint8_t *>(text), sizeof text, challenge) != 0) return TPM_ERR_CHIP;
    uint8_t response[signature_size] = {};
    if (atcacert_get_response(atecc::device_key_slot, challenge, response) != 0) return TPM_ERR_CHIP;
    bool verified = false;
    if (atcab_verify_extern(challenge, response, public_key, &verified) != ATCA_SUCCESS) return TPM_ERR_CHIP;

    *is_verified = verified;
    return TPM_OK;
}
