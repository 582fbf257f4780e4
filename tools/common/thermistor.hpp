// The thermistor and its divider, as both programs take them.
#ifndef OSTDRV_TOOLS_THERMISTOR_HPP
#define OSTDRV_TOOLS_THERMISTOR_HPP

#include "command.hpp"

namespace ostdrv::tool {

// Resistances in ohms, beta in kelvin, the sample at full scale in counts.
struct Thermistor {
    int r_nominal = 10000;
    int beta = 3950;
    int r_series = 10000;
    int full_scale = 4096;
};

template <typename Thermistor>
void add_thermistor(Command &command, Thermistor &thermistor) {
    command.add_number("--r-nominal", thermistor.r_nominal, "Resistance at 25 degrees, in ohms, else 10000", 1);
    command.add_number("--beta", thermistor.beta, "Beta constant, in kelvin, else 3950", 1);
    command.add_number("--r-series", thermistor.r_series, "Resistor in the upper leg, in ohms, else 10000", 1);
    command.add_number("--full-scale", thermistor.full_scale, "Sample at full scale, else 4096", 1);
}

}  // namespace ostdrv::tool

#endif
