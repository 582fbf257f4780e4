// The settings store over a region in memory. The input's first byte asks with its lowest bit for a right checksum; the
// region follows.
#include <kset.h>

#include <climits>

#include "settings_image.hpp"
#include "world.hpp"

using namespace ostdrv::fuzz;

namespace {

Bytes region;

int read_region(void *buffer, unsigned int length) {
    std::copy_n(region.begin(), std::min<std::size_t>(length, region.size()), static_cast<std::uint8_t *>(buffer));
    return 0;
}

int write_region(const void *buffer, unsigned int length) {
    expect(length <= region.size(), "a write stays inside the region");
    std::copy_n(static_cast<const std::uint8_t *>(buffer), length, region.begin());
    return 0;
}

// Two that a sensor's EEPROM has in its header region and two of its calibration region, and some that it has not.
constexpr int identifiers = 40;
constexpr int text = 4, nothing = 7, no_text = 8, digest = 10, percent = 21, number = 22;
constexpr int digest_size = 16, text_size = 32;

bool open_store() {
    return kset_init(identifiers, static_cast<unsigned>(region.size()), 0, read_region, write_region) == 0 &&
           kset_add_string(text, "text", text_size, "as delivered") == 0 &&
           kset_add_int(percent, "percent", 0, 100, 50) == 0 &&
           kset_add_int(number, "number", INT_MIN, INT_MAX, 7) == 0 &&
           kset_add_hex(nothing, "nothing", 0, nullptr) == 0 && kset_add_string(no_text, "no text", 1, "") == 0 &&
           kset_add_hex(digest, "digest", digest_size, nullptr) == 0;
}

struct Values {
    std::string words = kset_get_string(text);
    int percentage = kset_get_int(percent);
    int any = kset_get_int(number);
    Bytes bytes{kset_get_hex(digest), kset_get_hex(digest) + digest_size};

    bool operator==(const Values &) const = default;
};

bool allowed(const Values &values) {
    return values.words.size() < text_size && values.percentage >= 0 && values.percentage <= 100 &&
           kset_get_string(no_text)[0] == '\0' && kset_get_hex(nothing);
}

void check_write(const Values &values) {
    const Bytes before = region;
    if (kset_write() != 0) {
        expect(region == before, "an image that does not fit leaves the region alone");
        return;
    }
    kset_shutdown();
    expect(open_store() && kset_read() == 0, "what was written can be read");
    expect(Values() == values, "what was written reads the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0) return 0;
    region.assign(data + 1, data + size);
    if (data[0] & 1) seal(region);
    if (!open_store()) {
        expect(region.size() < 14 && kset_read() != 0, "only a region without room for a header is refused");
        return 0;
    }
    const Values initial;
    const int status = kset_read();
    const Values values;
    expect(status == 0 || values == initial, "an image that is refused changes no value");
    expect(allowed(values), "every value is one that its declaration allows");
    expect(kset_read() == status && Values() == values, "a second read gives the same");
    check_write(values);
    kset_shutdown();
    return 0;
}
