#include <cmath>

#include "analog/adc_sample.hpp"
#include "ostdrv.h"

namespace {

// 1/298.15 K, rounded to single precision and widened again: results are promised to the last bit.
constexpr double inverse_nominal_kelvin = 0.0033540164586156607;
constexpr float zero_celsius = 273.15f;
constexpr float millidegrees_per_degree = 1000.0f;

float thermistor_resistance(int raw, int full_scale, int r_series) {
    const float ratio = static_cast<float>(full_scale) / static_cast<float>(raw);
    return static_cast<float>(r_series) / (ratio - 1.0f);
}

float beta_equation(float relative_resistance, int beta) {
    const double logarithm = std::log(static_cast<double>(relative_resistance));
    const double kelvin = 1.0 / (logarithm / static_cast<double>(beta) + inverse_nominal_kelvin);
    return static_cast<float>(kelvin) - zero_celsius;
}

}  // namespace

int ntc_temp_read(int channel, int r_nominal, int beta, int r_series, int adc_full_scale, float *temp) {
    int raw;
    if (!ostdrv::take_adc_sample(channel, &raw)) return -1;
    const float resistance = thermistor_resistance(raw, adc_full_scale, r_series);
    *temp = beta_equation(resistance / static_cast<float>(r_nominal), beta);
    return 0;
}

int ntc_sysfs_temp_read(const char *path, float *temp) {
    int millidegrees = 0;
    if (x_sysfs_read_int(path, &millidegrees) < 0) return -1;
    *temp = static_cast<float>(millidegrees) / millidegrees_per_degree;
    return 0;
}
