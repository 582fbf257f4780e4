// What surrounds a board: its inputs are driven, its outputs read, its EEPROM taken out and put back. The words are the
// same for every board; what they do is the board's own.
#ifndef OSTDRV_TOOLS_SURROUNDINGS_HPP
#define OSTDRV_TOOLS_SURROUNDINGS_HPP

#include <functional>
#include <memory>
#include <string>

#include "bytes.hpp"
#include "command.hpp"

namespace ostdrv::tool {

// Each throws Failure for what the board does not have.
class Surroundings {
 public:
    struct Line {
        bool is_output, is_high;
    };

    Surroundings() = default;
    virtual ~Surroundings() = default;
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

    virtual void drive(int line, bool high) = 0;
    virtual Line line(int line) = 0;
    virtual void set_sample(int channel, int raw) = 0;
    virtual int sample(int channel) = 0;
    virtual void set_temperature(double celsius) = 0;
    virtual double temperature() = 0;
    virtual unsigned light(const std::string &name) = 0;
    virtual void fill_eeprom(const Bytes &bytes) = 0;
    virtual Bytes eeprom() = 0;
    virtual void protect_eeprom(bool on) = 0;
    virtual bool eeprom_is_protected() = 0;
};

// The board is opened when a command runs, and closed when it has run. `program` is how the examples call it.
void add_surroundings(Command &command, const std::string &program,
                      const std::function<std::unique_ptr<Surroundings>()> &open);

}  // namespace ostdrv::tool

#endif
