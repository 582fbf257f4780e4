// What the kernel keeps for each open file of a board beside its position. Descriptors that were duplicated share it.
// It is this process's: a program that is started finds its descriptors as if they had just been opened.
#ifndef OSTDRV_SIM_OPEN_FILES_HPP
#define OSTDRV_SIM_OPEN_FILES_HPP

#include <atomic>

namespace ostdrv::sim {

struct OpenFile {
    std::atomic<unsigned> users{1};
    std::atomic<unsigned> events_read{0};  // of a line, when its value was last read from the start
    std::atomic<int> i2c_address{-1};      // whom read and write on a bus mean
};

// Never null: descriptors beyond the table share one.
OpenFile &open_file(int descriptor);

// A descriptor was opened or closed: what it stood for is forgotten.
void forget_file(int descriptor);

// A descriptor was duplicated. Returns the new one.
int share_file(int descriptor, int duplicate);

}  // namespace ostdrv::sim

#endif
