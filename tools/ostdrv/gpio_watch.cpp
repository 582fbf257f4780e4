// ostdrv gpio watch: waiting for the edges of lines.
#include <ostdrv.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>

#include "consent.hpp"
#include "gpio_line.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::vector<std::string> lines;
    int count = 0, timeout_ms = -1;
    Output output;
    Consent consent;
} options;

// When a wait returned.
struct Moment {
    timespec time{};

    Moment() { clock_gettime(CLOCK_REALTIME, &time); }
    double seconds() const {
        const auto microseconds = time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
        return static_cast<double>(microseconds) / 1'000'000;
    }
    std::string text() const {
        tm utc{};
        gmtime_r(&time.tv_sec, &utc);
        char text[40], whole[64];
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
        std::snprintf(whole, sizeof whole, "%s.%06ldZ", text, time.tv_nsec / 1000);
        return whole;
    }
};

// Lines that are prepared for a wait and released at the end.
class WatchedLines {
 public:
    explicit WatchedLines(std::vector<x_gpio_poll_entry> entries) : entries_(std::move(entries)) {
        if (x_gpio_util_poll_multiple_setup(entries_.data(), size()) == 0) return;
        // The set-up does not tell which line it was; the same again, one by one, does.
        for (const x_gpio_poll_entry &entry : entries_) {
            require_line("make an input of", entry.gpio, [&] { return x_gpio_util_direction(entry.gpio, 0); });
            require_line("select the edge of", entry.gpio,
                         [&] { return x_gpio_util_edge(entry.gpio, static_cast<unsigned>(entry.edge)); });
        }
        throw system_failure("cannot wait on these lines");
    }
    ~WatchedLines() { x_gpio_poll_multiple_cleanup(entries_.data(), size()); }
    WatchedLines(const WatchedLines &) = delete;
    WatchedLines &operator=(const WatchedLines &) = delete;

    // False when nothing came before the timeout.
    bool wait(int timeout_ms) {
        do {
            errno = 0;
            if (x_gpio_util_poll_multiple(entries_.data(), size(), timeout_ms) == 0) return true;
        } while (errno == EINTR);
        if (errno != 0) throw system_failure("cannot wait on these lines");
        return false;
    }
    // Prints at most so many of the edges seen and returns how many.
    int report(int most) {
        const Moment now;
        if (std::ranges::none_of(entries_, [](const auto &entry) { return entry.fired != 0; }))
            throw Failure("a line that is waited on cannot be read any more; was it unexported?");
        int reported = 0;
        for (x_gpio_poll_entry &entry : entries_) {
            if (std::exchange(entry.fired, 0) == 0 || reported == most) continue;
            print(entry, now);
            ++reported;
        }
        return reported;
    }

 private:
    std::vector<x_gpio_poll_entry> entries_;
    int size() const { return static_cast<int>(entries_.size()); }

    // Of both edges, the one that led to the value.
    static void print(const x_gpio_poll_entry &entry, const Moment &now) {
        const int code = entry.edge == X_GPIO_EDGE_BOTH ? entry.value : entry.edge;
        const std::string &edge = gpio_edges[static_cast<std::size_t>(code)];
        options.output.print_next(
            {{"time", now.seconds()}, {"line", entry.gpio}, {"value", entry.value}, {"edge", edge}},
            now.text() + " " + std::to_string(entry.gpio) + "=" + std::to_string(entry.value) + " " + edge);
    }
};

std::vector<x_gpio_poll_entry> entries() {
    std::vector<x_gpio_poll_entry> entries;
    for (const std::string &text : options.lines) {
        const LineArgument argument = parse_line(text, ':');
        const auto code = index_of(argument.wanted.empty() ? "both" : argument.wanted, gpio_edges);
        if (std::ranges::count(entries, argument.line, &x_gpio_poll_entry::gpio) > 0)
            throw BadUsage(line_name(argument.line) + " is given twice");
        entries.push_back({.gpio = argument.line, .edge = static_cast<int>(code), .value = 0, .fired = 0, .fd = -1});
    }
    if (entries.size() > 16) throw BadUsage("at most 16 lines can be waited on");
    return entries;
}

void watch() {
    std::vector<x_gpio_poll_entry> wanted = entries();
    for (const x_gpio_poll_entry &entry : wanted)
        if (is_output(entry.gpio))
            options.consent.object(line_name(entry.gpio) + " is an output, and a watch makes it an input");
    WatchedLines lines(std::move(wanted));
    const int most = options.count > 0 ? options.count : std::numeric_limits<int>::max();
    for (int seen = 0; seen < most; seen += lines.report(most - seen)) {
        if (lines.wait(options.timeout_ms)) continue;
        if (options.count == 0) return;
        throw Failure("saw " + std::to_string(seen) + " of " + std::to_string(most) + " edges before the timeout");
    }
}

}  // namespace

void add_gpio_watch(Command &group) {
    Command &command = group.add_command(
        "watch", "Print each edge of up to 16 inputs: the time at which it woke this program, the value and the edge");
    command.add_texts("LINE[:falling|rising|both]", options.lines, "GPIO numbers").required();
    command.add_number("-n,--count", options.count, "End after so many edges", 1);
    command.add_number("-t,--timeout", options.timeout_ms,
                       "End when none has come for so many milliseconds; a failure when --count was given", 0);
    options.consent.add_force_to(command);
    options.output.add_to(command);
    command.examples({"ostdrv gpio watch 3:rising --count 1 --timeout 20000", "ostdrv gpio watch 3 4 --json"});
    command.action(watch);
}

}  // namespace ostdrv::tool
