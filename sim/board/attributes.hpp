// The values behind a simulated board's attributes: lights, ADC channels, temperatures, and how any of them is read and
// replaced from the board's own side.
#ifndef OSTDRV_SIM_ATTRIBUTES_HPP
#define OSTDRV_SIM_ATTRIBUTES_HPP

#include <optional>
#include <string>
#include <string_view>

namespace ostdrv::sim {

struct BoardDescription;

// Makes the GPIO class, ADC channels, lights and temperatures of a board, and removes those that it no longer has.
// What was there keeps its value.
void make_attributes(const BoardDescription &board);

// A driver's answer to a text written: 0, or its error number.
int store_backlight(const std::string &device_path, std::string_view text);
int store_led(const std::string &device_path, std::string_view text);

// An attribute's value without the newline; nothing where there is none.
std::optional<std::string> attribute(std::string_view device_path);
// Replaces an attribute's value in place, because descriptors that are open must see it. Keeps one newline at its end.
bool set_attribute(std::string_view device_path, std::string_view value);
bool replace_content(const std::string &file, std::string_view content);
std::string content_of(const std::string &file);

// The number that the kernel takes a written text for, whose newline is cut off already: 0, or EINVAL or ERANGE.
int kernel_number(std::string_view text, long &number);
int kernel_number(std::string_view text, unsigned long &number);

// What the board's surroundings do to its inputs: a channel's raw sample; the millidegrees of the board's own sensor
// (/sys/class/thermal/thermal_zone0/temp). False when the board has no such channel.
bool set_adc(int channel, int raw);
bool set_temperature(double celsius);

}  // namespace ostdrv::sim

#endif
