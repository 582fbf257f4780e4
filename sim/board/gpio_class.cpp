#include "gpio_class.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "attributes.hpp"
#include "core/board_state.hpp"
#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view class_directory = "/sys/class/gpio";
constexpr std::string_view deleted = " (deleted)";

// An exported line. What the kernel keeps about it is what its attributes show.
class Line {
 public:
    explicit Line(int line)
        : line_(line), directory_(*board_path(std::string(class_directory) + "/gpio" + std::to_string(line))) {}

    const fs::path &directory() const { return directory_; }
    bool exported() const { return fs::exists(directory_); }

    bool is_output() const { return get("direction") == "out\n"; }
    bool active_low() const { return get("active_low") == "1\n"; }
    bool value() const { return get("value") == "1\n"; }
    std::string edge() const { return get("edge"); }
    // Values are logical: an active-low line shows the inverse of its level.
    bool show_level(bool high) const { return put("value", high != active_low() ? "1" : "0"); }

    int store_direction(std::string_view text) const {
        if (text == "in") return put("direction", "in") && show_level(LineState::load(line_).driven_high) ? 0 : EIO;
        if (text != "out" && text != "low" && text != "high") return EINVAL;
        return put("direction", "out") && show_level(text == "high") ? 0 : EIO;
    }
    int store_value(std::string_view text) const {
        if (!is_output()) return EPERM;
        const auto number = kernel_number(text);
        if (!number) return EINVAL;
        return put("value", *number ? "1" : "0") ? 0 : EIO;
    }
    // An output cannot be an interrupt.
    int store_edge(std::string_view text) const {
        if (text != "none" && text != "rising" && text != "falling" && text != "both") return EINVAL;
        if (text != "none" && is_output()) return EIO;
        return put("edge", text) ? 0 : EIO;
    }
    int store_active_low(std::string_view text) const {
        const auto number = kernel_number(text);
        if (!number) return EINVAL;
        const bool level = value() != active_low();
        return put("active_low", *number ? "1" : "0") && show_level(level) ? 0 : EIO;
    }

    // Made whole before it appears under its name, so that nobody finds half a line.
    int export_line() const {
        if (exported()) return EBUSY;
        const Line fresh(*this, directory_.parent_path() / (".gpio" + std::to_string(line_)));
        LineState state = LineState::load(line_);
        std::error_code error;
        if (!state.save(line_) || !fresh.put("direction", "in") || !fresh.put("edge", "none") ||
            !fresh.put("active_low", "0") || !fresh.show_level(state.driven_high))
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
    fs::path directory_;

    Line(const Line &other, fs::path directory) : line_(other.line_), directory_(std::move(directory)) {}
    std::string get(const char *attribute) const { return content_of(directory_ / attribute); }
    bool put(const char *attribute, std::string_view value) const {
        return replace_content(directory_ / attribute, std::string(value) + "\n");
    }
};

bool on_board(long line) { return line >= 0 && line < BoardDescription::load().gpio_lines; }

int store_export(std::string_view text, int (Line::*action)() const) {
    const auto number = kernel_number(text);
    if (!number || !on_board(*number)) return EINVAL;
    return (Line(static_cast<int>(*number)).*action)();
}

}  // namespace

void make_gpio_class(int lines) {
    for (const char *attribute : {"/export", "/unexport"}) {
        const auto file = board_path(std::string(class_directory) + attribute);
        if (!fs::exists(*file)) replace_content(*file, "");
    }
    const std::string controller = std::string(class_directory) + "/gpiochip0/";
    set_attribute(controller + "base", "0");
    set_attribute(controller + "label", "board");
    set_attribute(controller + "ngpio", std::to_string(lines));
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(*board_path(class_directory)))
        if (const auto found =
                line_attribute(std::string(class_directory) + "/" + entry.path().filename().string() + "/");
            found && found->line >= lines)
            fs::remove_all(entry.path(), error);
}

std::optional<LineAttribute> line_attribute(std::string_view device_path) {
    const std::string start = std::string(class_directory) + "/gpio";
    const std::size_t slash = device_path.find('/', start.size());
    if (!device_path.starts_with(start) || slash == std::string_view::npos) return std::nullopt;
    LineAttribute found{};
    const auto [end, error] = std::from_chars(&device_path[start.size()], &device_path[slash], found.line);
    if (error != std::errc() || end != &device_path[slash]) return std::nullopt;
    std::string_view name = device_path.substr(slash + 1);
    found.gone = name.ends_with(deleted);
    if (found.gone) name.remove_suffix(deleted.size());
    found.name = name;
    return found;
}

std::optional<int> gpio_store(std::string_view device_path, std::string_view text) {
    if (!device_path.starts_with(class_directory)) return std::nullopt;
    const std::string_view name = device_path.substr(class_directory.size());
    const StateLock lock;
    if (name == "/export") return store_export(text, &Line::export_line);
    if (name == "/unexport") return store_export(text, &Line::unexport_line);

    const auto attribute = line_attribute(device_path);
    if (!attribute) return std::nullopt;
    if (attribute->gone) return ENODEV;
    const Line line(attribute->line);
    if (attribute->name == "direction") return line.store_direction(text);
    if (attribute->name == "value") return line.store_value(text);
    if (attribute->name == "edge") return line.store_edge(text);
    if (attribute->name == "active_low") return line.store_active_low(text);
    return std::nullopt;
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

fs::path line_state_file(int line) { return board_root() / "lines" / std::to_string(line); }

LineState LineState::load(int line) {
    LineState state;
    int level = 0;
    const std::string text = content_of(line_state_file(line));
    if (std::sscanf(text.c_str(), "level=%d events=%u", &level, &state.events) != 2) return {};
    state.driven_high = level != 0;
    return state;
}

bool LineState::save(int line) const {
    char text[40];
    std::snprintf(text, sizeof text, "level=%d events=%010u\n", driven_high ? 1 : 0, events);
    return replace_content(line_state_file(line), text);
}

}  // namespace ostdrv::sim
