// What takes seconds on a device, shown on a terminal while it lasts.
#ifndef OSTDRV_TOOLS_PROGRESS_HPP
#define OSTDRV_TOOLS_PROGRESS_HPP

#include <string>
#include <thread>

namespace ostdrv::tool {

// Shows "WHAT ... SECONDS s" on standard error, from half a second on until it ends. Nothing when that is no terminal.
class Progress {
 public:
    explicit Progress(const std::string &what);

 private:
    std::jthread shower_;
};

}  // namespace ostdrv::tool

#endif
