// Configuration-zone images of an ATECC: what they make of the chip, and whether it has got one.
#ifndef OSTDRV_TOOLS_CONFIGURATION_HPP
#define OSTDRV_TOOLS_CONFIGURATION_HPP

#include <string>

#include "bytes.hpp"
#include "words.hpp"

namespace ostdrv::tool {

// Why a chip of this model at this 7-bit address would be of no use with the image. The address is negative where the
// chip is not looked for by it.
Words faults_of_configuration(const Bytes &image, int model, int i2c_address);

// Where a chip's configuration is another one than the image, of what an image decides: "byte 20, byte 96". Empty when
// it is the same. The bytes that the library adjusts to the model are left out for its own image.
std::string differences(const Bytes &chip, const Bytes &image, bool is_adjusted);

}  // namespace ostdrv::tool

#endif
