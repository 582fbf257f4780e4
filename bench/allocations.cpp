// How often the functions of each group allocate. What the C library allocates for its own streams is not the
// library's doing and is counted apart.
#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "benches.hpp"
#include "core/fault_plan.hpp"
#include "ostdrv.h"

namespace ostdrv::bench {
namespace {

struct Function {
    const char *name;
    std::function<bool()> call;
};

// A line with the most that any function of the group allocates in one call.
void add(const Table &table, const std::string &group, std::initializer_list<Function> functions) {
    std::size_t most = 0, streams = 0;
    std::string which;
    for (const Function &function : functions) {
        bool done = false;
        const std::vector<std::string> calls = calls_of([&] { done = function.call(); });
        must(done, function.name);
        const std::size_t allocations = sim::fault_plan::calls(static_cast<unsigned>(sim::CallKind::allocation)) +
                                        static_cast<std::size_t>(std::ranges::count_if(calls, [](const auto &line) {
                                            return line.starts_with("kos_mem_alloc(");
                                        }));
        const auto opened = std::ranges::count_if(
            calls, [](const auto &line) { return line.starts_with("fopen(") || line.starts_with("popen("); });
        streams = std::max(streams, static_cast<std::size_t>(opened));
        if (allocations > most) which = function.name;
        most = std::max(most, allocations);
    }
    std::string remark = "C library streams a call: " + std::to_string(streams);
    if (most > 0) remark += ", most in " + which;
    table.add(group + ", " + std::to_string(functions.size()) + " functions", static_cast<double>(most),
              "allocations a call, at most", remark);
}

void add_files(const Table &table, const Device &device) {
    static int number;
    static unsigned size;
    static float temperature;
    static char bytes[16];
    static const std::string file = device.put("number", "45500\n");
    static const char *const path = file.c_str();
    add(table, "Attribute files",
        {{"x_sysfs_exists", [] { return x_sysfs_exists(path) == 0; }},
         {"x_sysfs_size", [] { return x_sysfs_size(path, &size) == 0; }},
         {"x_sysfs_read_int", [] { return x_sysfs_read_int(path, &number) == 0; }},
         {"x_sysfs_write_int", [] { return x_sysfs_write_int(path, 45500) == 0; }},
         {"x_sysfs_read_bytes", [] { return x_sysfs_read_bytes(path, bytes, 0, 6) == 0; }},
         {"x_sysfs_write_bytes", [] { return x_sysfs_write_bytes(path, "45500", 0, 5) == 0; }},
         {"x_sysfs_contains", [] { return x_sysfs_contains(path, "45500") >= 0; }}});
    add(table, "Shell commands",
        {{"x_shell_exec", [] { return x_shell_exec("true") == 0; }},
         {"x_shell_exec_background", [] { return x_shell_exec_background("true") == 0; }},
         {"x_shell_popen", [] { return pclose(x_shell_popen("true")) == 0; }},
         {"x_shell_get_process_pid", [] { return x_shell_get_process_pid("no-such-process") == -1; }},
         {"x_shell_wait_process", [] { return x_shell_wait_process("no-such-process", 0), true; }}});
    add(table, "Analog inputs and lights",
        {{"adc_read_impl", [] { return adc_read_impl(3) >= 0; }},
         {"ntc_temp_read", [] { return ntc_temp_read(3, 10000, 3950, 10000, 4096, &temperature) == 0; }},
         {"ntc_sysfs_temp_read", [] { return ntc_sysfs_temp_read(path, &temperature) == 0; }},
         {"pwm_proc_*",
          [] {
              int fd = pwm_proc_open("panel");
              if (pwm_proc_write(fd, 9) != 0 || pwm_proc_close(fd) != 0) return false;
              fd = pwm_proc_open("panel");
              return pwm_proc_read(fd, &size) == 0 && pwm_proc_close(fd) == 0;
          }},
         {"x_pwm_set_cycle", [] { return x_pwm_set_cycle("panel", 50) == 0; }},
         {"x_pwm_read_cycle", [] { return x_pwm_read_cycle("panel", &size) == 0; }},
         {"led_drive_set_value", [] { return led_drive_set_value(0, 50) == -1; }}});
}

void add_lines(const Table &table) {
    static int number;
    static x_gpio_poll_entry entry{.gpio = 5, .edge = 2, .value = 0, .fired = 0, .fd = -1};
    add(table, "Lines and edges",
        {{"x_gpio_util_export", [] { return x_gpio_util_export(5) == 0; }},
         {"x_gpio_util_get_direction", [] { return x_gpio_util_get_direction(5, &number) == 0; }},
         {"x_gpio_util_set", [] { return x_gpio_util_set(5, 1) == 0; }},
         {"x_gpio_util_get", [] { return x_gpio_util_get(5, &number) == 0; }},
         {"x_gpio_util_direction", [] { return x_gpio_util_direction(5, 0) == 0; }},
         {"x_gpio_util_edge", [] { return x_gpio_util_edge(5, 2) == 0; }},
         {"x_gpio_util_get_edge", [] { return x_gpio_util_get_edge(5, &number) == 0; }},
         {"x_gpio_util_active_low", [] { return x_gpio_util_active_low(5, 0) == 0; }},
         {"x_gpio_util_get_active_low", [] { return x_gpio_util_get_active_low(5, &number) == 0; }},
         {"x_gpio_util_poll", [] { return x_gpio_util_poll(5, 2, 0, &number) == 1; }},
         {"x_gpio_util_poll_multiple_setup", [] { return x_gpio_util_poll_multiple_setup(&entry, 1) == 0; }},
         {"x_gpio_util_poll_multiple", [] { return x_gpio_util_poll_multiple(&entry, 1, 0) == 1; }},
         {"x_gpio_poll_multiple_cleanup", [] { return x_gpio_poll_multiple_cleanup(&entry, 1), true; }}});
}

void add_sensor_eeprom(const Table &table, const Device &device) {
    static const std::string file = device.put("eeprom", std::string(4096, '\xff'));
    static const char *const path = file.c_str();
    static x_sensor_eeprom_payload *payload = nullptr;
    static int status;
    add(table, "Payload of the sensor EEPROM",
        {{"x_sensor_eeprom_payload_init", [] { return (payload = x_sensor_eeprom_payload_init()) != nullptr; }},
         {"x_sensor_eeprom_payload_free", [] { return x_sensor_eeprom_payload_free(payload), true; }}});

    payload = x_sensor_eeprom_payload_init();
    for (int text = 1; text <= 4; ++text) std::snprintf(payload->header[text], 32, "s5l");
    std::snprintf(payload->tables[0].name, sizeof payload->tables[0].name, "table");
    payload->tables[0].length = 100;
    payload->tables[0].data[0] = 1;
    add(table, "Sensor EEPROM and MD5",
        {{"x_sensor_eeprom_store", [] { return x_sensor_eeprom_store(path, payload, &status) == 0; }},
         {"x_sensor_eeprom_load", [] { return x_sensor_eeprom_load(path, payload, &status) == 0; }},
         {"x_sensor_eeprom_store_header", [] { return x_sensor_eeprom_store_header(path, payload, &status) == 0; }},
         {"x_sensor_eeprom_load_header", [] { return x_sensor_eeprom_load_header(path, payload, &status) == 0; }},
         {"x_sensor_eeprom_check_header",
          [] { return x_sensor_eeprom_check_header(path, payload->hash, &status) == 0; }},
         {"x_sensor_eeprom_md5_*",
          [] {
              x_sensor_eeprom_md5_ctx context;
              x_sensor_eeprom_md5_init(&context);
              x_sensor_eeprom_md5_update(&context, payload->tables[0].data, 100);
              x_sensor_eeprom_md5_finalise(&context, payload->hash);
              return true;
          }},
         {"x_sensor_eeprom_reset", [] { return x_sensor_eeprom_reset(path, &status) == 0; }}});
    x_sensor_eeprom_payload_free(payload);
}

void add_slots(const Table &table, bool trustx) {
    static std::uint8_t bytes[1024], flag;
    static const unsigned slot = trustx ? 0xE0E3 : 5;
    add(table, trustx ? "Slots and keys of a Trust X" : "Slots and keys of an ATECC",
        {{"tpm_get_chip_type",
          [] {
              int type;
              return tpm_get_chip_type(&type) == 0;
          }},
         {"tpm_init_device", [] { return tpm_init_device() == 0; }},
         {"tpm_init_config", [] { return tpm_init_config(nullptr) == 0; }},
         {"tpm_slot_count", [] { return tpm_slot_count() > 0; }},
         {"tpm_is_config_locked", [] { return tpm_is_config_locked(&flag) == 0; }},
         {"tpm_is_data_locked", [] { return tpm_is_data_locked(&flag) == 0; }},
         {"tpm_is_slot_locked", [] { return tpm_is_slot_locked(static_cast<std::uint16_t>(slot), &flag) == 0; }},
         {"tpm_write_slot", [] { return tpm_write_slot(slot, bytes, 36) == 0; }},
         {"tpm_read_slot",
          [] {
              std::size_t size = 36;
              return tpm_read_slot(slot, bytes, &size) == 0;
          }},
         {"tpm_genkey", [] { return tpm_genkey(bytes, 68) == 0; }},
         {"tpm_lock_slot", [] { return tpm_lock_slot(static_cast<std::uint16_t>(slot)) == 0; }}});
}

void add_certificates(const Table &table, const Device &device, bool trustx) {
    static std::uint8_t der[1024], flag;
    static const std::string out = device.path("out");
    const char *const signer = device.signer_file.c_str();
    const char *const own = device.device_file.c_str();
    const auto request = trustx ? tpm_cert_gencsr_trustx : tpm_cert_gencsr;
    const auto read_pem = trustx ? tpm_pem_file_to_octet_string : tpm_cert_read_cert_from_file;
    add(table, trustx ? "Certificates on a Trust X" : "Certificates on an ATECC",
        {{"tpm_cert_get_version", [] { return tpm_cert_get_version(&flag) == 0; }},
         {"tpm_cert_set_serial_number", [] { return tpm_cert_set_serial_number(der, 17) == 0; }},
         {"tpm_cert_get_serial_number",
          [] {
              int size = 17;
              return tpm_cert_get_serial_number(reinterpret_cast<char *>(der), &size) == 0;
          }},
         {"tpm_cert_save_signer_cert", [signer] { return tpm_cert_save_signer_cert(signer) == 0; }},
         {"tpm_cert_save_device_cert", [own] { return tpm_cert_save_device_cert(own) == 0; }},
         {"tpm_cert_export_signer_cert", [] { return tpm_cert_export_signer_cert(out.c_str()) == 0; }},
         {"tpm_cert_export_device_cert", [] { return tpm_cert_export_device_cert(out.c_str()) == 0; }},
         {"tpm_cert_verify",
          [&device] { return tpm_cert_verify(device.root_key.data(), nullptr, &flag) == 0 && flag == 1; }},
         {trustx ? "tpm_cert_gencsr_trustx" : "tpm_cert_gencsr", [request] { return request(out.c_str()) == 0; }},
         {trustx ? "tpm_pem_file_to_octet_string" : "tpm_cert_read_cert_from_file",
          [read_pem, signer] {
              std::size_t size = sizeof der;
              return read_pem(signer, der, &size) == 0;
          }},
         {"tpm_octet_string_to_pem_file",
          [trustx] { return !trustx || tpm_octet_string_to_pem_file(out.c_str(), der, 500) == 0; }},
         {"tpm_get_pubkey_from_tbs",
          [&device] {
              return tpm_get_pubkey_from_tbs(device.signer_cert.data(), device.signer_cert.size(), der) == 0;
          }},
         {"tpm_cert_lock_signer_cert", [] { return tpm_cert_lock_signer_cert() == 0; }},
         {"tpm_cert_lock_device_cert", [] { return tpm_cert_lock_device_cert() == 0; }}});
}

}  // namespace

void add_allocations(const Table &table, const Device &device, bool trustx) {
    if (!trustx) {
        add_files(table, device);
        add_lines(table);
        add_sensor_eeprom(table, device);
    }
    add_slots(table, trustx);
    add_certificates(table, device, trustx);
}

}  // namespace ostdrv::bench
