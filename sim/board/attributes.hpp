// The kernel's attribute files on a simulated board. Each is an ordinary file that holds one value and a newline; what
// the kernel does differently from ordinary files happens here: it neither creates nor truncates them, it takes one
// write for one value wherever the descriptor stands, and it refuses what the device cannot do.
#ifndef OSTDRV_SIM_ATTRIBUTES_HPP
#define OSTDRV_SIM_ATTRIBUTES_HPP

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

struct BoardDescription;

// Makes the GPIO class, ADC channels, lights and temperatures of a board, and removes those that it no longer has.
// What was there keeps its value.
void make_attributes(const BoardDescription &board);

// How open and fopen open a path: as asked, but an attribute without creation and truncation.
int open_flags(const char *path, int flags);
std::string open_mode(const char *path, const char *mode);

// What write on a descriptor gives when it stands for an attribute that answers writes, with errno set.
std::optional<ssize_t> write_attribute(int descriptor, const void *bytes, std::size_t size);

// An attribute's value without the newline; nothing where there is none.
std::optional<std::string> attribute(std::string_view device_path);
// Replaces an attribute's value in place, because descriptors that are open must see it. Keeps one newline at its end.
bool set_attribute(std::string_view device_path, std::string_view value);
bool replace_content(const std::filesystem::path &file, std::string_view content);
std::string content_of(const std::filesystem::path &file);

// The number that the kernel's kstrtol takes a written text for, whose newline is cut off already.
std::optional<long> kernel_number(std::string_view text);

// What the board's surroundings do to its inputs: a channel's raw sample; the millidegrees of the board's own sensor
// (/sys/class/thermal/thermal_zone0/temp). False when the board has no such channel.
bool set_adc(int channel, int raw);
bool set_temperature(double celsius);

// An NTC thermistor and its divider: resistances in ohms, beta in kelvin, the sample at full scale in counts.
struct Thermistor {
    int r_nominal = 10000;
    int beta = 3950;
    int r_series = 10000;
    int full_scale = 4096;
};
// The sample nearest to a temperature.
bool set_adc_temperature(int channel, const Thermistor &thermistor, double celsius);

}  // namespace ostdrv::sim

#endif
