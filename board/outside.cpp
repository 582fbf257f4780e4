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
#include "files.hpp"
#include "support/owned.hpp"
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

struct Options {
    int line = 0, channel = 0, raw = 0;
    unsigned bytes = 0;
    std::size_t level = 0, light = 0, position = 0;
    double celsius = 0;
    std::string file;
} options;

const Words levels{"low", "high"}, lights{"panel", "red", "green", "blue"}, positions{"off", "on"};

void drive_line() {
    const Outside world;
    const bool high = options.level == 1;
    if (!Machine::runs()) {
        world->gpio.drive(options.line, high);
        return;
    }
    Machine machine;
    machine.await_quiet();
    if (!world->gpio.drive(options.line, high)) return;
    machine.raise_interrupt();
    machine.await_quiet();
}

void add_line(Command &program) {
    Command &command =
        program.add_command("line", "Drive a GPIO line from outside; without LEVEL: print its direction and level");
    command.add_number("LINE", options.line, "Its number", 0, 31).required();
    Option &level = command.add_choice("LEVEL", options.level, levels, "Where to");
    command.action([&level] {
        if (level.given()) return drive_line();
        const Outside world;
        const board::Gpio &gpio = world->gpio;
        std::printf("%s %s\n", gpio.is_output(options.line) ? "out" : "in",
                    levels[gpio.level(options.line) ? 1 : 0].c_str());
    });
}

void add_adc(Command &program) {
    Command &command = program.add_command("adc", "Set what an ADC channel samples; without RAW: print it");
    constexpr int channels = std::extent_v<decltype(board::Chips::samples)>;
    command.add_number("CHANNEL", options.channel, "Its number", 0, channels - 1).required();
    Option &raw = command.add_number("RAW", options.raw, "The sample", 0, 4095);
    command.action([&raw] {
        const Outside world;
        volatile std::uint16_t &sample = world->chips.samples[options.channel];
        if (raw.given())
            sample = static_cast<std::uint16_t>(options.raw);
        else
            std::printf("%d\n", sample);
    });
}

void add_temperature(Command &program) {
    using board::Thermometer;
    Command &command = program.add_command(
        "temperature", "Set /sys/class/thermal/thermal_zone0/temp, -20.0 to 82.3; without DEGREES: print it");
    Option &degrees = command.add_real("DEGREES", options.celsius, "Degrees Celsius");
    command.action([&degrees] {
        const Outside world;
        Thermometer &thermometer = world->thermometer;
        if (!degrees.given()) {
            std::printf("%.1f\n", Thermometer::celsius(thermometer.status & Thermometer::largest));
            return;
        }
        const double count = std::round((options.celsius - Thermometer::celsius(0)) / Thermometer::celsius_per_count);
        if (!(count >= 0 && count <= Thermometer::largest))
            throw BadUsage("the thermometer measures -20.0 to 82.3 degrees");
        thermometer.status = Thermometer::valid | static_cast<std::uint32_t>(count);
    });
}

void add_light(Command &program) {
    Command &command = program.add_command("light", "Print a light's brightness, 0 to 255");
    command.add_choice("NAME", options.light, lights, "The light").required();
    command.action([] {
        const Outside world;
        std::printf("%u\n", world->pwm[options.light / 2].brightness(static_cast<int>(options.light % 2)));
    });
}

void add_eeprom(Command &program) {
    Command &out = program.add_command("eeprom-out", "Copy what the EEPROM holds to a file");
    out.add_file("FILE", options.file, "Is made or replaced").required();
    out.action([] {
        const Outside world;
        write_file(options.file, Bytes(std::begin(world->eeprom), std::end(world->eeprom)));
    });

    Command &in = program.add_command("eeprom-in", "Fill the EEPROM from a file of its 4096 bytes");
    in.add_file("FILE", options.file, "As eeprom-out leaves it").required();
    in.action([] {
        constexpr std::size_t size = sizeof World::eeprom;
        const Bytes bytes = read_file(options.file, size);
        if (bytes.size() != size)
            throw Failure(options.file + " has " + std::to_string(bytes.size()) + " bytes, the EEPROM 4096");
        const Outside world;
        std::copy(bytes.begin(), bytes.end(), std::begin(world->eeprom));
    });

    Command &protect =
        program.add_command("eeprom-protect", "Let the EEPROM acknowledge and keep its bytes; alone: print whether");
    Option &position = protect.add_choice("POSITION", options.position, positions, "Of the switch");
    protect.action([&position] {
        const Outside world;
        board::Register &is_protected = world->chips.eeprom_protected;
        if (position.given())
            is_protected = options.position == 1;
        else
            std::printf("%s\n", positions[is_protected ? 1 : 0].c_str());
    });
}

void add_power_cut(Command &program) {
    Command &command = program.add_command("power-cut", "Take the board's power away, now or in the middle of a store");
    Option &bytes = command.add_number("--eeprom-bytes", options.bytes,
                                       "Not now, but once the EEPROM has taken so many bytes more; 0: never");
    command.action([&bytes] {
        if (bytes.given()) {
            const Outside world;
            world->chips.bytes_to_power_cut = options.bytes;
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
    add_line(program);
    add_adc(program);
    add_temperature(program);
    add_light(program);
    add_eeprom(program);
    add_power_cut(program);
    add_power_up(program);
    return program.run(argc > 1 ? argc - 1 : argc, argc > 1 ? argv + 1 : argv);
}

}  // namespace
}  // namespace ostdrv::tool

int main(int argc, char **argv) { return ostdrv::tool::main(argc, argv); }
