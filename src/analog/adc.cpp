#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "analog/adc_sample.hpp"
#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/file_descriptor.hpp"
#include "support/fixed_text.hpp"

namespace {

constexpr useconds_t settling_time = 100000;

}  // namespace

bool ostdrv::take_adc_sample(int channel, int *raw) {
    FixedText<256> path;
    path.append("/var/tmp/adc/in_voltage").append(channel).append("_raw");
    const FileDescriptor file(path.c_str(), O_RDONLY);
    if (!file) return false;

    char text[129] = {};
    if (read(file.get(), text, sizeof text - 1) <= 0) {
        perror("read");
        return false;
    }
    return parse_leading_int(text, raw);
}

int adc_read_impl(int channel) {
    int raw;
    return ostdrv::take_adc_sample(channel, &raw) ? raw : -1;
}

int adc_read(int channel) {
    adc_read_impl(channel);
    usleep(settling_time);
    return adc_read_impl(channel);
}
