#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

#include "ostdrv.h"

// Applications are built against this layout.
static_assert(offsetof(x_sensor_eeprom_md5_ctx, count) == 16);
static_assert(offsetof(x_sensor_eeprom_md5_ctx, buffer) == 24);
static_assert(sizeof(x_sensor_eeprom_md5_ctx) == 88);

namespace {

constexpr unsigned int block_size = 64;
constexpr unsigned int length_at = 56;  // in the last block
constexpr int steps_per_round = 16;

// floor(2^32 * |sin(step + 1)|)
constexpr std::array<uint32_t, 64> sines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

uint32_t load_le32(const uint8_t *bytes) {
    return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[3]) << 24;
}

void store_le32(uint8_t *bytes, uint32_t word) {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(word >> 8 * i);
}

// What distinguishes the rounds: the message words' order, the shifts, and the function of b, c and d. Each step waits
// for b, which the step before makes, so the functions keep b's way short: what c and d alone give is ready early.
struct RoundF {
    static constexpr int stride = 1, first = 0;
    static constexpr int shifts[] = {7, 12, 17, 22};
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) { return sum + (d ^ (b & (c ^ d))); }
};
struct RoundG {
    static constexpr int stride = 5, first = 1;
    static constexpr int shifts[] = {5, 9, 14, 20};
    // The two halves have no bit in common, so they can be added one after the other: only the second waits for b.
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) { return sum + (c & ~d) + (b & d); }
};
struct RoundH {
    static constexpr int stride = 3, first = 5;
    static constexpr int shifts[] = {4, 11, 16, 23};
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) { return sum + (b ^ (c ^ d)); }
};
struct RoundI {
    static constexpr int stride = 7, first = 0;
    static constexpr int shifts[] = {6, 10, 15, 21};
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) { return sum + (c ^ (b | ~d)); }
};

template <typename Round, int step>
void take_step(uint32_t *v, const uint8_t *block, uint32_t sine) {
    uint32_t &a = v[(64 - step) % 4];
    const uint32_t b = v[(65 - step) % 4], c = v[(66 - step) % 4], d = v[(67 - step) % 4];
    const uint32_t word = load_le32(block + 4 * ((Round::first + Round::stride * step) % 16));
    a = b + std::rotl(Round::add(a + word + sine, b, c, d), Round::shifts[step % 4]);
}

template <typename Round, int number>
void take_round(uint32_t *v, const uint8_t *block) {
    [&]<int... step>(std::integer_sequence<int, step...>) {
        (take_step<Round, step>(v, block, sines[number * steps_per_round + step]), ...);
    }
    (std::make_integer_sequence<int, steps_per_round>{});
}

void x_sensor_eeprom_md5_transform(uint32_t *state, const uint8_t *block) {
    uint32_t v[4] = {state[0], state[1], state[2], state[3]};
    take_round<RoundF, 0>(v, block);
    take_round<RoundG, 1>(v, block);
    take_round<RoundH, 2>(v, block);
    take_round<RoundI, 3>(v, block);
    for (int i = 0; i < 4; ++i) state[i] += v[i];
}

unsigned int waiting(const x_sensor_eeprom_md5_ctx *ctx) { return ctx->count[0] / 8 % block_size; }

void add_to_count(x_sensor_eeprom_md5_ctx *ctx, unsigned int length) {
    const uint32_t bits = length << 3;
    ctx->count[0] += bits;
    ctx->count[1] += (ctx->count[0] < bits ? 1 : 0) + (length >> 29);
}

}  // namespace

void x_sensor_eeprom_md5_init(x_sensor_eeprom_md5_ctx *ctx) {
    ctx->state[0] = 0x67452301;
    ctx->state[1] = 0xefcdab89;
    ctx->state[2] = 0x98badcfe;
    ctx->state[3] = 0x10325476;
    ctx->count[0] = ctx->count[1] = 0;
}

void x_sensor_eeprom_md5_update(x_sensor_eeprom_md5_ctx *ctx, const void *data, unsigned int length) {
    if (length == 0) return;
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    unsigned int filled = waiting(ctx);
    add_to_count(ctx, length);

    while (length >= block_size - filled) {
        const unsigned int missing = block_size - filled;
        memcpy(ctx->buffer + filled, bytes, missing);
        x_sensor_eeprom_md5_transform(ctx->state, ctx->buffer);
        bytes += missing;
        length -= missing;
        filled = 0;
    }
    memcpy(ctx->buffer + filled, bytes, length);
}

void x_sensor_eeprom_md5_finalise(x_sensor_eeprom_md5_ctx *ctx, unsigned char *digest) {
    unsigned int filled = waiting(ctx);
    ctx->buffer[filled++] = 0x80;
    if (filled > length_at) {
        memset(ctx->buffer + filled, 0, block_size - filled);
        x_sensor_eeprom_md5_transform(ctx->state, ctx->buffer);
        filled = 0;
    }
    memset(ctx->buffer + filled, 0, length_at - filled);
    store_le32(ctx->buffer + length_at, ctx->count[0]);
    store_le32(ctx->buffer + length_at + 4, ctx->count[1]);
    x_sensor_eeprom_md5_transform(ctx->state, ctx->buffer);

    for (int i = 0; i < 4; ++i) store_le32(digest + 4 * i, ctx->state[i]);
    explicit_bzero(ctx, sizeof *ctx);
}
