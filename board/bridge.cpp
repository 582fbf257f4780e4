// The chips on the virtual board's I2C bus. Runs on the board and plays, through /dev/uhid, the USB side of a CP2112
// bridge: the kernel's hid-cp2112 makes an I2C adapter of it, on which the drivers of the EEPROM and of the ADC then
// sit.
//
//   board_bridge ADDRESS    the secure element answers there; 0: none is fitted
#include <fcntl.h>
#include <linux/uhid.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "mapped.hpp"
#include "world.hpp"

namespace ostdrv::board {
namespace {

using Bytes = std::span<const std::uint8_t>;

[[noreturn]] void fail(const char *what) {
    std::perror(what);
    std::exit(1);
}

// At once: nothing is written back, and no wait on the host lets the board's clock run on.
[[noreturn]] void cut_power(Chips &chips) {
    chips.power_was_cut = 1;
    const int trigger = open("/proc/sysrq-trigger", O_WRONLY | O_CLOEXEC);
    if (write(trigger, "b", 1) != 1) std::perror("/proc/sysrq-trigger");
    for (;;) pause();
}

// A 24c32: two bytes of address, then cells. Protected, it acknowledges and keeps what it has.
class Eeprom {
 public:
    explicit Eeprom(World &world) : cells_(world.eeprom), chips_(world.chips) {}

    void write(Bytes bytes) {
        if (bytes.size() < 2) return;
        position_ = static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
        for (std::uint8_t byte : bytes.subspan(2)) {
            if (!chips_.eeprom_protected) cells_[position_ % sizeof cells_] = byte;
            ++position_;
            if (const std::uint32_t left = chips_.bytes_to_power_cut; left > 0) {
                chips_.bytes_to_power_cut = left - 1;
                if (left == 1) cut_power(chips_);
            }
        }
    }
    void read(std::span<std::uint8_t> into) {
        for (std::uint8_t &byte : into) byte = cells_[position_++ % sizeof cells_];
    }

 private:
    decltype(World::eeprom) &cells_;
    Chips &chips_;
    unsigned position_ = 0;
};

// A MAX11616: a written byte with the highest bit is the set-up, another one chooses the channel that is read next.
class Adc {
 public:
    explicit Adc(World &world) : chips_(world.chips) {}

    void write(Bytes bytes) {
        for (std::uint8_t byte : bytes)
            if (!(byte & 0x80)) channel_ = byte >> 1 & 15;
    }
    void read(std::span<std::uint8_t> into) const {
        const unsigned sample = channel_ < std::size(chips_.samples) ? chips_.samples[channel_] : 0;
        for (std::size_t i = 0; i < into.size(); ++i)
            into[i] = static_cast<std::uint8_t>(i % 2 == 0 ? 0xF0 | sample >> 8 : sample);
    }

 private:
    Chips &chips_;
    unsigned channel_ = 0;
};

class Bus {
 public:
    Bus(World &world, int secure_element) : eeprom_(world), adc_(world), secure_element_(secure_element) {}

    // False when nobody acknowledges the address.
    bool write(int address, Bytes bytes) {
        if (address == 0x50) return eeprom_.write(bytes), true;
        if (address == 0x34) return adc_.write(bytes), true;
        return address == secure_element_;
    }
    bool read(int address, std::span<std::uint8_t> into) {
        if (address == 0x50) return eeprom_.read(into), true;
        if (address == 0x34) return adc_.read(into), true;
        return std::fill(into.begin(), into.end(), 0), address == secure_element_;
    }

 private:
    Eeprom eeprom_;
    Adc adc_;
    int secure_element_;
};

// Reports of the bridge with their sizes, their number included.
enum Report : std::uint8_t {
    version = 0x05,
    read_request = 0x10,
    write_read_request = 0x11,
    force_send = 0x12,
    data = 0x13,
    write_request = 0x14,
    status_request = 0x15,
    status = 0x16
};
struct ReportShape {
    std::uint8_t number, size, kind;
};
constexpr std::uint8_t input = 0x81, output = 0x91, feature = 0xB1;
constexpr ReportShape report_shapes[] = {
    {0x02, 5, feature},      {0x03, 2, feature},  {0x04, 3, feature},          {version, 3, feature},
    {0x06, 14, feature},     {0x20, 2, feature},  {0x21, 10, feature},         {0x22, 63, feature},
    {0x23, 63, feature},     {0x24, 63, feature}, {read_request, 4, output},   {write_read_request, 21, output},
    {force_send, 3, output}, {data, 64, input},   {write_request, 64, output}, {status_request, 2, output},
    {status, 7, input},
};

class Bridge {
 public:
    explicit Bridge(Bus &bus) : bus_(bus) {
        if (uhid_ < 0) fail("/dev/uhid");
        uhid_event event = {};
        event.type = UHID_CREATE2;
        uhid_create2_req &request = event.u.create2;
        std::strcpy(reinterpret_cast<char *>(request.name), "CP2112");
        request.bus = 3;
        request.vendor = 0x10C4;
        request.product = 0xEA90;
        describe(request);
        send(event);
    }

    [[noreturn]] void serve() {
        for (uhid_event event;;) {
            if (::read(uhid_, &event, sizeof event) < 0) fail("/dev/uhid");
            if (event.type == UHID_OUTPUT) take(Bytes(event.u.output.data, event.u.output.size));
            if (event.type == UHID_GET_REPORT) give(event.u.get_report);
            if (event.type == UHID_SET_REPORT) acknowledge(event.u.set_report);
        }
    }

 private:
    void send(const uhid_event &event) {
        if (::write(uhid_, &event, sizeof event) < 0) fail("/dev/uhid");
    }

    static void describe(uhid_create2_req &request) {
        std::uint8_t *next = request.rd_data;
        const auto add = [&next](Bytes items) { next = std::copy(items.begin(), items.end(), next); };
        add(std::array<std::uint8_t, 14>{0x06, 0, 0xFF, 0x09, 1, 0xA1, 1, 0x15, 0, 0x26, 0xFF, 0, 0x75, 8});
        for (const ReportShape &shape : report_shapes)
            add(std::array<std::uint8_t, 8>{0x85, shape.number, 0x09, 0x01, 0x95,
                                            static_cast<std::uint8_t>(shape.size - 1), shape.kind, 0x02});
        *next++ = 0xC0;
        request.rd_size = static_cast<std::uint16_t>(next - request.rd_data);
    }

    // The driver wants every report in its exact size; of their contents only the part's version matters to it.
    void give(const uhid_get_report_req &request) {
        uhid_event event = {};
        event.type = UHID_GET_REPORT_REPLY;
        uhid_get_report_reply_req &reply = event.u.get_report_reply;
        reply.id = request.id;
        const auto shape = std::find_if(std::begin(report_shapes), std::end(report_shapes),
                                        [&](const ReportShape &one) { return one.number == request.rnum; });
        if (shape == std::end(report_shapes)) {
            reply.err = EIO;
        } else {
            reply.size = shape->size;
            reply.data[0] = shape->number;
            if (shape->number == version) reply.data[1] = 0x0C, reply.data[2] = 2;
        }
        send(event);
    }

    void acknowledge(const uhid_set_report_req &request) {
        uhid_event event = {};
        event.type = UHID_SET_REPORT_REPLY;
        event.u.set_report_reply.id = request.id;
        send(event);
    }

    void take(Bytes report) {
        if (report.size() < 2) return;
        const int address = report[1] >> 1;
        switch (report[0]) {
            case read_request:
                read(address, report.subspan(2));
                break;
            case write_request:
                acknowledged_ = bus_.write(address, written(report, 2));
                break;
            case write_read_request:
                acknowledged_ = bus_.write(address, written(report, 4));
                if (acknowledged_) read(address, report.subspan(2));
                break;
            case force_send:
                send_data();
                break;
            case status_request:
                send_status();
                break;
            default:
                break;
        }
    }

    // The bytes behind their count, never more than there are.
    static Bytes written(Bytes report, std::size_t count_at) {
        if (report.size() <= count_at) return {};
        const Bytes rest = report.subspan(count_at + 1);
        return rest.first(std::min<std::size_t>(report[count_at], rest.size()));
    }

    void read(int address, Bytes length) {
        fetched_ = {};
        if (length.size() < 2) return;
        fetched_ = std::span(buffer_).first(std::min<std::size_t>(length[0] << 8 | length[1], buffer_.size()));
        acknowledged_ = bus_.read(address, fetched_);
    }

    void send_input(Bytes report) {
        uhid_event event = {};
        event.type = UHID_INPUT2;
        event.u.input2.size = static_cast<std::uint16_t>(report.size());
        std::copy(report.begin(), report.end(), event.u.input2.data);
        send(event);
    }

    void send_data() {
        std::array<std::uint8_t, 64> report{data, 2};
        const std::size_t count = std::min<std::size_t>(fetched_.size(), report.size() - 3);
        report[2] = static_cast<std::uint8_t>(count);
        std::copy_n(fetched_.begin(), count, report.begin() + 3);
        fetched_ = fetched_.subspan(count);
        send_input(report);
    }

    void send_status() {
        const std::uint8_t done[] = {2, 5}, not_acknowledged[] = {3, 0};
        const auto &code = acknowledged_ ? done : not_acknowledged;
        const std::size_t count = fetched_.size();
        send_input(std::array<std::uint8_t, 7>{status, code[0], code[1], 0, 0, static_cast<std::uint8_t>(count >> 8),
                                               static_cast<std::uint8_t>(count)});
    }

    Bus &bus_;
    const int uhid_ = open("/dev/uhid", O_RDWR | O_CLOEXEC);
    std::array<std::uint8_t, 512> buffer_{};
    std::span<std::uint8_t> fetched_;
    bool acknowledged_ = false;
};

}  // namespace
}  // namespace ostdrv::board

int main(int argc, char **argv) {
    using namespace ostdrv::board;
    Bus bus(mapped_world(), argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 0)) : 0);
    Bridge(bus).serve();
}
