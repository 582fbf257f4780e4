#include "gpio_class.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "attributes.hpp"
#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view class_directory = "/sys/class/gpio";
// An exported line. What the kernel keeps about it is what its attributes show.
class Line {
 public:
    explicit Line(int line)
        : line_(line), directory_(*board_path(std::string(class_directory) + "/gpio" + std::to_string(line))) {}

    bool exported() const { return path_exists(directory_); }

    bool is_output() const { return get("direction") == "out\n"; }
    bool active_low() const { return get("active_low") == "1\n"; }
    bool value() const { return get("value") == "1\n"; }
    std::string edge() const { return get("edge"); }
    // Values are logical: an active-low line shows the inverse of its level.
    bool show_level(bool high) const { return put("value", high != active_low() ? "1" : "0"); }

    int store_direction(std::string_view text) const {
        if (text != "in" && text != "out" && text != "low" && text != "high") return EINVAL;
        LineState state = LineState::load(line_);
        state.is_output = text != "in";
        state.drives_high = text == "high";
        return state.save(line_) && put("direction", state.is_output ? "out" : "in") && show_level(state.level()) ? 0
                                                                                                                  : EIO;
    }
    int store_value(std::string_view text) const {
        long number = 0;
        const int error = kernel_number(text, number);
        if (!is_output()) return EPERM;
        if (error) return error;
        LineState state = LineState::load(line_);
        state.drives_high = (number != 0) != active_low();
        return state.save(line_) && show_level(state.drives_high) ? 0 : EIO;
    }
    // An output cannot become an interrupt, but what became an output later stays one.
    int store_edge(std::string_view text) const {
        if (text != "none" && text != "rising" && text != "falling" && text != "both") return EINVAL;
        if (edge() == std::string(text) + "\n") return 0;
        const bool refused = text != "none" && is_output();
        return put("edge", refused ? "none" : text) && !refused ? 0 : EIO;
    }
    int store_active_low(std::string_view text) const {
        long number = 0;
        if (const int error = kernel_number(text, number)) return error;
        const bool level = value() != active_low();
        return put("active_low", number ? "1" : "0") && show_level(level) ? 0 : EIO;
    }

    // Made whole before it appears under its name, so that nobody finds half a line.
    int export_line() const {
        if (exported()) return EBUSY;
        const Line fresh(*this, *board_path(std::string(class_directory) + "/.gpio" + std::to_string(line_)));
        const LineState state = LineState::load(line_);
        std::error_code error;
        if (!state.save(line_) || !fresh.put("direction", state.is_output ? "out" : "in") ||
            !fresh.put("edge", "none") || !fresh.put("active_low", "0") || !fresh.show_level(state.level()))
            return EIO;
        fs::rename(fresh.directory_, directory_, error);
        return error ? EIO : 0;
    }
    int unexport_line() const {
        std::error_code error;
        return exported() && fs::remove_all(directory_, error) > 0 ? 0 : EINVAL;
    }

 private:
    int line_;
    std::string directory_;

    Line(const Line &other, std::string directory) : line_(other.line_), directory_(std::move(directory)) {}
    std::string get(const char *attribute) const { return content_of(directory_ + "/" + attribute); }
    bool put(const char *attribute, std::string_view value) const {
        return replace_content(directory_ + "/" + attribute, std::string(value) + "\n");
    }
};

bool on_board(long line) { return line >= 0 && line < BoardDescription::load().gpio_lines; }

int store_number(std::string_view text, int (Line::*action)() const) {
    long number = 0;
    if (const int error = kernel_number(text, number)) return error;
    const StateLock lock;
    return on_board(number) ? (Line(static_cast<int>(number)).*action)() : EINVAL;
}

int store_line(const std::string &device_path, std::string_view text, int (Line::*store)(std::string_view) const) {
    const auto number = line_of(device_path);
    const StateLock lock;
    return number ? (Line(*number).*store)(text) : EINVAL;
}

}  // namespace

void make_gpio_class(int lines) {
    for (const char *attribute : {"/export", "/unexport"}) {
        const auto file = board_path(std::string(class_directory) + attribute);
        if (!path_exists(*file)) replace_content(*file, "");
    }
    const std::string controller = std::string(class_directory) + "/gpiochip0/";
    set_attribute(controller + "base", "0");
    set_attribute(controller + "label", "board");
    set_attribute(controller + "ngpio", std::to_string(lines));
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(*board_path(class_directory)))
        if (const auto line = line_of(std::string(class_directory) + "/" + entry.path().filename().string());
            line && *line >= lines)
            fs::remove_all(entry.path(), error);
}

std::optional<int> line_of(std::string_view device_path) {
    const std::string start = std::string(class_directory) + "/gpio";
    if (!device_path.starts_with(start)) return std::nullopt;
    const std::string_view number =
        device_path.substr(start.size(), device_path.find('/', start.size()) - start.size());
    int line = 0;
    const auto [end, error] = std::from_chars(number.begin(), number.end(), line);
    return error == std::errc() && end == number.end() ? std::optional(line) : std::nullopt;
}

std::optional<int> edges_of(std::string_view device_path) {
    return device_path.ends_with("/value") || device_path.ends_with("/value (deleted)") ? line_of(device_path)
                                                                                        : std::nullopt;
}

int store_export(const std::string &, std::string_view text) { return store_number(text, &Line::export_line); }
int store_unexport(const std::string &, std::string_view text) { return store_number(text, &Line::unexport_line); }
int store_direction(const std::string &device_path, std::string_view text) {
    return store_line(device_path, text, &Line::store_direction);
}
int store_value(const std::string &device_path, std::string_view text) {
    return store_line(device_path, text, &Line::store_value);
}
int store_edge(const std::string &device_path, std::string_view text) {
    return store_line(device_path, text, &Line::store_edge);
}
int store_active_low(const std::string &device_path, std::string_view text) {
    return store_line(device_path, text, &Line::store_active_low);
}

bool drive_line(int number, bool high) {
    Unseen unseen;
    if (!on_board(number)) return false;
    const StateLock lock;
    LineState state = LineState::load(number);
    const bool changes = state.driven_high != high;
    state.driven_high = high;

    const Line line(number);
    if (line.exported() && !line.is_output()) {
        line.show_level(high);
        const std::string edge = line.edge();
        if (changes && (edge == "both\n" || edge == (line.value() ? "rising\n" : "falling\n"))) ++state.events;
    }
    // Last, because it is what a waiting poll watches.
    return state.save(number);
}

std::string line_state_file(int line) { return board_root() + "/lines/" + std::to_string(line); }

LineState LineState::load(int line) {
    LineState state;
    int level = 0, output = 0, drives = 0;
    const std::string text = content_of(line_state_file(line));
    if (std::sscanf(text.c_str(), "level=%d events=%u output=%d drives=%d", &level, &state.events, &output, &drives) <
        2)
        return {};
    state.driven_high = level != 0;
    state.is_output = output != 0;
    state.drives_high = drives != 0;
    return state;
}

bool LineState::save(int line) const {
    char text[60];
    std::snprintf(text, sizeof text, "level=%d events=%010u output=%d drives=%d\n", driven_high, events, is_output,
                  drives_high);
    return replace_content(line_state_file(line), text);
}

}  // namespace ostdrv::sim
