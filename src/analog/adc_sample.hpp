// One raw sample, for those to whom a reading of -1 and a failure are not the same.
#ifndef OSTDRV_ANALOG_ADC_SAMPLE_HPP
#define OSTDRV_ANALOG_ADC_SAMPLE_HPP

namespace ostdrv {

// False, with nothing stored, when the channel's attribute cannot be opened, read or parsed.
bool take_adc_sample(int channel, int *raw);

}  // namespace ostdrv

#endif
