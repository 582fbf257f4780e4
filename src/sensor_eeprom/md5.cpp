#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

#include "ostdrv.h"

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

// A sum that is worked out before what is added to it next. Compilers, clang above all, would rearrange the additions.
uint32_t early(uint32_t sum) {
    asm("" : "+r"(sum));
    return sum;
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
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) { return early(sum + (c & ~d)) + (b & d); }
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

struct State {
    uint32_t a, b, c, d;
};

template <typename Round, int step>
State after_step(State v, const uint8_t *block, uint32_t sine) {
    const uint32_t word = load_le32(block + 4 * ((Round::first + Round::stride * step) % 16));
    return {v.d, v.b + std::rotl(Round::add(early(v.a + word + sine), v.b, v.c, v.d), Round::shifts[step % 4]), v.b,
            v.c};
}

template <typename Round, int number>
State after_round(State v, const uint8_t *block) {
    [&]<int... step>(std::integer_sequence<int, step...>) {
        ((v = after_step<Round, step>(v, block, sines[number * steps_per_round + step])), ...);
    }
    (std::make_integer_sequence<int, steps_per_round>{});
    return v;
}

void x_sensor_eeprom_md5_transform(State &state, const uint8_t *block) {
    State v = after_round<RoundF, 0>(state, block);
    v = after_round<RoundG, 1>(v, block);
    v = after_round<RoundH, 2>(v, block);
    v = after_round<RoundI, 3>(v, block);
    state = {state.a + v.a, state.b + v.b, state.c + v.c, state.d + v.d};
}

unsigned int waiting(const x_sensor_eeprom_md5_ctx *ctx) { return ctx->count[0] / 8 % block_size; }

void put_state(x_sensor_eeprom_md5_ctx *ctx, const State &state) {
    ctx->state[0] = state.a;
    ctx->state[1] = state.b;
    ctx->state[2] = state.c;
    ctx->state[3] = state.d;
}

// Passes input through the buffer, of which `filled` bytes are waiting. The chaining values stay in registers from
// block to block: on their way through memory each block would wait for them.
void absorb(x_sensor_eeprom_md5_ctx *ctx, unsigned int filled, const uint8_t *bytes, unsigned int length) {
    const unsigned int missing = block_size - filled;
    if (length < missing) {
        memcpy(ctx->buffer + filled, bytes, length);
        return;
    }
    memcpy(ctx->buffer + filled, bytes, missing);
    bytes += missing;
    length -= missing;

    State state = {ctx->state[0], ctx->state[1], ctx->state[2], ctx->state[3]};
    for (;;) {
        x_sensor_eeprom_md5_transform(state, ctx->buffer);
        if (length < block_size) break;
        memcpy(ctx->buffer, bytes, block_size);
        bytes += block_size;
        length -= block_size;
    }
    put_state(ctx, state);
    memcpy(ctx->buffer, bytes, length);
}

void add_to_count(x_sensor_eeprom_md5_ctx *ctx, unsigned int length) {
    const uint32_t bits = length << 3;
    ctx->count[0] += bits;
    ctx->count[1] += (ctx->count[0] < bits ? 1 : 0) + (length >> 29);
}

}  // namespace

void x_sensor_eeprom_md5_init(x_sensor_eeprom_md5_ctx *ctx) {
    put_state(ctx, {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476});
    ctx->count[0] = ctx->count[1] = 0;
}

void x_sensor_eeprom_md5_update(x_sensor_eeprom_md5_ctx *ctx, const void *data, unsigned int length) {
    if (length == 0) return;
    const unsigned int filled = waiting(ctx);
    add_to_count(ctx, length);
    absorb(ctx, filled, static_cast<const uint8_t *>(data), length);
}

void x_sensor_eeprom_md5_finalise(x_sensor_eeprom_md5_ctx *ctx, unsigned char *digest) {
    const unsigned int filled = waiting(ctx);
    const unsigned int length = (filled < length_at ? length_at : length_at + block_size) - filled;
    uint8_t padding[block_size + 8] = {0x80};
    store_le32(padding + length, ctx->count[0]);
    store_le32(padding + length + 4, ctx->count[1]);
    absorb(ctx, filled, padding, length + 8);

    for (int i = 0; i < 4; ++i) store_le32(digest + 4 * i, ctx->state[i]);
    explicit_bzero(ctx, sizeof *ctx);
}
