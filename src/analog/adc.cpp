#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "analog/adc_sample.hpp"
#include "ostdrv.h"
#include "support/decimal.hpp"
#include "support/file_descriptor.hpp"
#include "support/fixed_text.hpp"

namespace {

constexpr long settling_us = 100000;

// A signal ends usleep early; what it cut off is slept afterwards, until the time that the whole pause ends.
void let_input_settle() {
    timespec end;
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_nsec += settling_us * 1000;
    if (end.tv_nsec >= 1000000000) {
        end.tv_nsec -= 1000000000;
        ++end.tv_sec;
    }
    if (usleep(settling_us) == 0) return;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

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
    let_input_settle();
    return adc_read_impl(channel);
}
