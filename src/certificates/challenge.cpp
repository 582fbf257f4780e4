#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "ostdrv.h"
#include "support/status.hpp"

using namespace ostdrv;

namespace {

constexpr uint8_t key_slot = 0;

// Decimal text of three random numbers, zero bytes behind it.
void fill_seed_text(char (&text)[64]) {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    const int first = std::rand();
    const int second = std::rand();
    const int third = std::rand();
    std::snprintf(text, sizeof text, "%d%d%d", first, second, third);
}

}  // namespace

int __cert_challenge(const uint8_t *public_key, uint8_t *is_verified) {
    if (!public_key || !is_verified) return status_argument;
    *is_verified = 0;

    char text[64] = {};
    fill_seed_text(text);
    uint8_t challenge[32] = {};
    if (atcac_sw_sha2_256(reinterpret_cast<const uint8_t *>(text), sizeof text, challenge) != 0) return status_chip;
    uint8_t response[64] = {};
    if (atcacert_get_response(key_slot, challenge, response) != 0) return status_chip;
    bool verified = false;
    if (atcab_verify_extern(challenge, response, public_key, &verified) != ATCA_SUCCESS) return status_chip;

    *is_verified = verified;
    return status_ok;
}
