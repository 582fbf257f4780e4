// Which of the two secure elements is fitted.
#ifndef OSTDRV_SECURE_ELEMENT_CHIP_DETECTION_HPP
#define OSTDRV_SECURE_ELEMENT_CHIP_DETECTION_HPP

// Decides the chip type of this process unless that has been done.
void tpm_detect_chip();

namespace ostdrv {

// The decision: whatever is not a Trust X is driven as an ATECC.
bool is_trustx();

}  // namespace ostdrv

#endif
