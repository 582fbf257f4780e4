// What surrounds the virtual board, in the words of ostdrv-sim: its inputs are driven, its outputs read, its EEPROM
// taken out and put back, its power cut. Run by board.sh, while the board runs or not.
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>

#include "command.hpp"
#include "support/owned.hpp"
#include "surroundings.hpp"
#include "world.hpp"

namespace ostdrv::tool {
namespace {

using board::World;

using Descriptor = Owned<int, ::close, -1>;

std::string directory;  // of the board: DIR/virtual

std::string file(const char *name) { return directory + "/" + name; }

// The megabyte of the board's memory, made when missing. One of these commands at a time has it.
class Outside {
 public:
    Outside() : descriptor_(open(file("world").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        struct stat found;
        if (descriptor_.get() < 0 || flock(descriptor_.get(), LOCK_EX) != 0 || fstat(descriptor_.get(), &found) != 0)
            throw system_failure("cannot open " + file("world"));
        const bool made = found.st_size != board::world_size;
        // Room is taken now: a full disk found out later would end the machine.
        if (made && (ftruncate(descriptor_.get(), board::world_size) != 0 ||
                     (errno = posix_fallocate(descriptor_.get(), 0, board::world_size)) != 0)) {
            const Failure cause = system_failure("cannot make " + file("world"));
            unlink(file("world").c_str());
            throw cause;
        }
        void *const memory = mmap(nullptr, board::world_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_.get(), 0);
        if (memory == MAP_FAILED) throw system_failure("cannot map " + file("world"));
        world_ = static_cast<World *>(memory);
        if (made) leave_factory();
    }
    ~Outside() { munmap(world_, board::world_size); }
    Outside(const Outside &) = delete;
    Outside &operator=(const Outside &) = delete;

    World *operator->() const { return world_; }

 private:
    void leave_factory() const {
        for (volatile std::uint8_t &cell : world_->eeprom) cell = 0xFF;
        world_->thermometer.status = board::Thermometer::valid | 450;
    }

    Descriptor descriptor_;
    World *world_;
};

// The debug connection of the machine, through which the lines' interrupt is raised. There is none while it is off.
class Machine {
 public:
    static bool runs() { return Descriptor(open(file("qtest.in").c_str(), O_WRONLY | O_NONBLOCK)).get() >= 0; }

    Machine()
        : requests_(open(file("qtest.in").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)),
          replies_(open(file("qtest.out").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        for (char left_over[512]; read(replies_.get(), left_over, sizeof left_over) > 0;) {
        }
    }

    void raise_interrupt() {
        command("writel " + std::to_string(board::pending_address) + " " + std::to_string(board::interrupt_bit));
    }
    // Until an interrupt that was raised has been served.
    void await_quiet() {
        for (int tries = 0; is_set(board::pending_address) || is_set(board::active_address); ++tries) {
            if (tries == 200) throw Failure("the board does not serve its interrupts");
            usleep(1000);
        }
    }

 private:
    bool is_set(std::uint64_t address) {
        const std::string reply = command("readl " + std::to_string(address));
        return std::stoul(reply.substr(reply.find(' ') + 1), nullptr, 16) & board::interrupt_bit;
    }

    std::string command(const std::string &text) {
        const std::string line = text + "\n";
        std::string reply;
        bool alive = write(requests_.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size());
        while (alive && !reply.ends_with('\n')) {
            pollfd wait = {replies_.get(), POLLIN, 0};
            char next = 0;
            alive = poll(&wait, 1, 5000) == 1 && read(replies_.get(), &next, 1) == 1;
            if (alive) reply += next;
        }
        if (!reply.starts_with("OK")) throw Failure("the board's machine does not answer");
        return reply;
    }

    Descriptor requests_, replies_;
};

unsigned bytes_to_power_cut = 0;

class VirtualSurroundings : public Surroundings {
 public:
    void drive(int line, bool high) override {
        must(line <= 31, "line");
        if (!Machine::runs()) {
            world_->gpio.drive(line, high);
            return;
        }
        Machine machine;
        machine.await_quiet();
        if (!world_->gpio.drive(line, high)) return;
        machine.raise_interrupt();
        machine.await_quiet();
    }
    Line line(int line) override {
        must(line <= 31, "line");
        return {world_->gpio.is_output(line), world_->gpio.level(line)};
    }
    void set_sample(int channel, int raw) override {
        if (raw < 0 || raw > 4095) throw BadUsage("the ADC samples 0 to 4095");
        cell(channel) = static_cast<std::uint16_t>(raw);
    }
    int sample(int channel) override { return cell(channel); }
    void set_temperature(double celsius) override {
        const double count = std::round((celsius - Thermometer::celsius(0)) / Thermometer::celsius_per_count);
        if (!(count >= 0 && count <= Thermometer::largest))
            throw BadUsage("the thermometer measures -20.0 to 82.3 degrees");
        world_->thermometer.status = Thermometer::valid | static_cast<std::uint32_t>(count);
    }
    double temperature() override { return Thermometer::celsius(world_->thermometer.status & Thermometer::largest); }
    unsigned light(const std::string &name) override {
        const auto found = std::find(lights.begin(), lights.end(), name);
        if (found == lights.end()) throw Failure("the board has no light " + name + suggestion(name, lights));
        const auto index = found - lights.begin();
        return world_->pwm[index / 2].brightness(static_cast<int>(index % 2));
    }
    void fill_eeprom(const Bytes &bytes) override { std::copy(bytes.begin(), bytes.end(), std::begin(world_->eeprom)); }
    Bytes eeprom() override { return {std::begin(world_->eeprom), std::end(world_->eeprom)}; }
    void protect_eeprom(bool on) override { world_->chips.eeprom_protected = on; }
    bool eeprom_is_protected() override { return world_->chips.eeprom_protected; }

 private:
    using Thermometer = board::Thermometer;
    const Outside world_;
    const Words lights{"panel", "red", "green", "blue"};

    static void must(bool there, const char *what) {
        if (!there) throw Failure(std::string("the board has no such ") + what);
    }
    volatile std::uint16_t &cell(int channel) const {
        constexpr int channels = std::extent_v<decltype(board::Chips::samples)>;
        must(channel < channels, "channel");
        return world_->chips.samples[channel];
    }
};

void add_power_cut(Command &program) {
    Command &command = program.add_command("power-cut", "Take the board's power away, now or in the middle of a store");
    Option &bytes = command.add_number("--eeprom-bytes", bytes_to_power_cut,
                                       "Not now, but once the EEPROM has taken so many bytes more; 0: never");
    command.action([&bytes] {
        if (bytes.given()) {
            const Outside world;
            world->chips.bytes_to_power_cut = bytes_to_power_cut;
            return;
        }
        long process = 0;
        std::ifstream(file("pid")) >> process;
        if (process <= 0 || !Machine::runs()) throw Failure("the board is not running");
        std::ofstream(file("state")) << "cut\n";
        if (kill(static_cast<pid_t>(process), SIGKILL) != 0) throw system_failure("cannot end the machine");
    });
}

// The EEPROM, what the ADC and the thermometer measure and the levels from outside are no registers, so they stay.
void add_power_up(Command &program) {
    program.add_command("power-up", "Every register as it comes out of reset; board.sh starts with it").action([] {
        const Outside world;
        board::Gpio &gpio = world->gpio;
        for (board::Register *one : {&gpio.data, &gpio.direction, &gpio.interrupt_mask, &gpio.interrupt_status})
            *one = 0;
        for (board::Pwm &pwm : world->pwm) pwm.control = 0;
        world->thermometer.control = board::Thermometer::out_of_reset;
        world->chips.power_was_cut = 0;
    });
    program.add_command("power-lost", "Succeeds when the EEPROM took the bytes that a planned power cut waited for")
        .action([] {
            const Outside world;
            if (!world->chips.power_was_cut) throw Failure("the power was not cut");
        });
}

// The board's directory, then a command.
int main(int argc, char **argv) {
    if (argc > 1) directory = argv[1];
    Program program("board.sh", "What surrounds the virtual board, also while it runs.");
    add_surroundings(program, "./board.sh", [] { return std::make_unique<VirtualSurroundings>(); });
    add_power_cut(program);
    add_power_up(program);
    return program.run(argc > 1 ? argc - 1 : argc, argc > 1 ? argv + 1 : argv);
}

}  // namespace
}  // namespace ostdrv::tool

int main(int argc, char **argv) { return ostdrv::tool::main(argc, argv); }
