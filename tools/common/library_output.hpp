// The library's own lines on standard output, which is for results here: --verbose.
#ifndef OSTDRV_TOOLS_LIBRARY_OUTPUT_HPP
#define OSTDRV_TOOLS_LIBRARY_OUTPUT_HPP

#include "command.hpp"

namespace ostdrv::tool {

class LibraryOutput {
 public:
    // Adds --verbose.
    void add_to(Command &command);

    // What the call returns. What it prints goes to standard error with --verbose, else nowhere.
    template <typename Call>
    auto of(Call call) const {
        const Redirection redirection(verbose_);
        return call();
    }

 private:
    bool verbose_ = false;

    class Redirection {
     public:
        explicit Redirection(bool to_standard_error);
        ~Redirection();
        Redirection(const Redirection &) = delete;
        Redirection &operator=(const Redirection &) = delete;

     private:
        int kept_;
    };
};

}  // namespace ostdrv::tool

#endif
