#include "sweep/scenarios.hpp"

#include <climits>
#include <cstdarg>
#include <cstring>

namespace ostdrv::test {
namespace {

using Run = std::function<int(Stage &)>;

const uint8_t bytes_36[36] = {'S', 'E', 'R'};
const uint8_t digest[32] = {1, 2, 3};

int read_slot(Stage &s, unsigned slot, size_t capacity) {
    size_t length = capacity;
    return tpm_read_slot(slot, s.out<uint8_t>(), &length);
}

int verify(Stage &s) {
    const char *const paths[] = {s.signer_file.c_str(), s.device_file.c_str()};
    return tpm_cert_verify(s.root.public_key().data(), paths, s.out<uint8_t>());
}

std::string file(Stage &s, const char *name) { return s.world.path(name); }

int read_serial(Stage &s) {
    int wanted = 35;
    return tpm_cert_get_serial_number(s.out<char>(), &wanted);
}

int read_pem(Stage &s) {
    size_t length = 1024;
    return tpm_cert_read_cert_from_file(s.signer_file.c_str(), s.out<uint8_t>(), &length);
}

int read_pem_trustx(Stage &s) {
    size_t length = 1024;
    return tpm_pem_file_to_octet_string(s.signer_file.c_str(), s.out<uint8_t>(), &length);
}

int reconfigure(Stage &s) {
    const Bytes der = der_of(s.world.get("signercert.cert"));
    return tpm_cert_reconfig_atcacert_def(s.out<atcacert_def_t>(), der.data(), der.size());
}

int public_key(Stage &s) {
    const Bytes der = der_of(s.world.get("signercert.cert"));
    return tpm_get_pubkey_from_tbs(der.data(), der.size(), s.out<uint8_t>());
}

int eeprom(Stage &s, int (*operation)(const char *, x_sensor_eeprom_payload *, int *)) {
    int status = 0;
    return operation(s.eeprom_file.c_str(), s.payload, &status);
}

int make_payload(Stage &) {
    x_sensor_eeprom_payload *const payload = x_sensor_eeprom_payload_init();
    x_sensor_eeprom_payload_free(payload);
    return payload ? 0 : -1;
}

int wait_on_lines(Stage &) {
    x_gpio_poll_entry entries[] = {{.gpio = 3, .edge = 2, .value = 0, .fired = 0, .fd = -7},
                                   {.gpio = 4, .edge = 0, .value = 0, .fired = 0, .fd = -7}};
    if (x_gpio_util_poll_multiple_setup(entries, 2) != 0) return -1;
    const int result = x_gpio_util_poll_multiple(entries, 2, 0);
    x_gpio_poll_multiple_cleanup(entries, 2);
    return entries[0].fd == -1 && entries[1].fd == -1 ? result : -1;
}

[[gnu::format(printf, 1, 2)]] int run_with_suffix(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int status = x_shell(")", format, arguments);
    va_end(arguments);
    return status;
}

int read_and_write_light(Stage &s) {
    const int light = pwm_proc_open("panel");
    if (light < 0) return -1;
    const int read = pwm_proc_read(light, s.out<unsigned>());
    const int written = pwm_proc_write(light, 77);
    return pwm_proc_close(light) == 0 && read == 0 && written == 0 ? 0 : -1;
}

// Functions that make no call are here so that it stays so.
int compute(Stage &) {
    x_sensor_eeprom_md5_ctx context;
    uint8_t hash[16];
    x_sensor_eeprom_md5_init(&context);
    x_sensor_eeprom_md5_update(&context, bytes_36, sizeof bytes_36);
    x_sensor_eeprom_md5_finalise(&context, hash);
    const int channel = 1;
    int type = 0;
    return tpm_get_chip_type(&type) + x_pwm_is_valid_channel(1, &channel, 1) + (tpm_slot_count() == 8 ? 0 : 1) +
           led_drive_set_value(0, 50) + 1;
}

int run_and_read(Stage &) {
    FILE *stream = x_shell_popen("true %d", 7);
    return stream ? pclose(stream) : -1;
}

// The functions of one group have their place, failures and outputs in common.
void add(std::vector<Scenario> &all, Fitted fitted, std::set<int> failures,
         std::initializer_list<std::pair<const char *, Run>> runs, bool output_kept = true,
         std::set<std::string> unchecked = {}) {
    for (const auto &[name, run] : runs) all.push_back({name, fitted, run, failures, output_kept, unchecked});
}

void add_atecc(std::vector<Scenario> &all) {
    add(all, Fitted::blank_atecc, {1}, {{"start", [](Stage &) { return tpm_init_device(); }}}, true,
        {"access", "fopen", "fread", "system"});
    add(all, Fitted::blank_atecc, {2},
        {{"config", [](Stage &s) { return tpm_get_config_atecc(s.out<uint8_t>()); }},
         {"config_locked", [](Stage &s) { return tpm_is_config_locked(s.out<uint8_t>()); }},
         {"data_locked", [](Stage &s) { return tpm_is_data_locked(s.out<uint8_t>()); }},
         {"slot_locked", [](Stage &s) { return tpm_is_slot_locked(9, s.out<uint8_t>()); }}});
    add(all, Fitted::blank_atecc, {2, 7}, {{"provision", [](Stage &) { return tpm_init_config(nullptr); }}});
    add(all, Fitted::layout_0_usb, {1}, {{"start", [](Stage &) { return tpm_init_device(); }}}, true,
        {"access", "fopen", "fread", "system"});
    add(all, Fitted::keyless_atecc, {2}, {{"genkey", [](Stage &s) { return tpm_genkey(s.out<uint8_t>(), 64); }}},
        false);
    add(all, Fitted::layout_1, {31}, {{"type", [](Stage &) { return tpm_get_type() - 1; }}});
    add(all, Fitted::layout_1, {-1}, {{"table", [](Stage &) { return __get_tpm_cert_api() ? 0 : -1; }}});
    add(all, Fitted::layout_1, {2},
        {{"read_slot", [](Stage &s) { return read_slot(s, 8, 416); }},
         {"read_key_slot", [](Stage &s) { return read_slot(s, 0, 64); }},
         {"write_slot", [](Stage &) { return tpm_write_slot(12, bytes_36, sizeof bytes_36); }},
         {"lock_slot", [](Stage &) { return tpm_lock_slot(12); }},
         {"sign", [](Stage &s) { return tpm_sign_atecc(digest, s.out<uint8_t>()); }},
         {"write_public_key", [](Stage &s) { return tpm_write_public_key_atecc(12, s.root.public_key().data()); }},
         {"verify_given",
          [](Stage &s) {
              return tpm_verify_with_ext_public_key_atecc(digest, s.root.public_key().data(),
                                                          s.root.public_key().data(), s.out<bool>());
          }},
         {"verify_stored",
          [](Stage &s) {
              return tpm_verify_with_stored_public_key_atecc(digest, s.root.public_key().data(), 12, s.out<bool>());
          }},
         {"version", [](Stage &s) { return tpm_cert_get_version(s.out<uint8_t>()); }},
         {"write_serial", [](Stage &) { return tpm_cert_set_serial_number(bytes_36, 17); }},
         {"lock_serial", [](Stage &) { return tpm_cert_lock_serial_number(); }}});
    add(all, Fitted::layout_1, {2},
        {{"genkey", [](Stage &s) { return tpm_genkey(s.out<uint8_t>(), 64); }},
         {"read_serial", read_serial},
         {"challenge", [](Stage &s) { return __cert_challenge(s.root.public_key().data(), s.out<uint8_t>()); }}},
        false);
    add(all, Fitted::layout_1, {2, 8}, {{"request", [](Stage &s) { return tpm_cert_gencsr(file(s, "csr").c_str()); }}},
        true, {"fwrite"});
    add(all, Fitted::layout_1, {2, 5, 8}, {{"read_pem", read_pem}});
    add(all, Fitted::layout_1, {8, 9}, {{"template", reconfigure}, {"template_key", public_key}}, true,
        {"remove", "fgets"});
}

void add_certificates(std::vector<Scenario> &all) {
    const std::initializer_list<std::pair<const char *, Run>> saves = {
        {"save_signer", [](Stage &s) { return tpm_cert_save_signer_cert(s.signer_file.c_str()); }},
        {"save_device", [](Stage &s) { return tpm_cert_save_device_cert(s.device_file.c_str()); }}};
    const std::initializer_list<std::pair<const char *, Run>> locks = {
        {"lock_signer", [](Stage &) { return tpm_cert_lock_signer_cert(); }},
        {"lock_device", [](Stage &) { return tpm_cert_lock_device_cert(); }}};
    const std::initializer_list<std::pair<const char *, Run>> exports = {
        {"export_signer", [](Stage &s) { return tpm_cert_export_signer_cert(file(s, "out").c_str()); }},
        {"export_device", [](Stage &s) { return tpm_cert_export_device_cert(file(s, "out").c_str()); }}};

    for (const Fitted atecc : {Fitted::layout_1, Fitted::layout_0, Fitted::layout_0_usb}) {
        // A dump that ends early locates nothing, which the chip's library or the reader refuses.
        add(all, atecc, {2, 8, 9, 13}, saves, true, {"remove", "fgets"});
        add(all, atecc, {2, 13}, locks);
        add(all, atecc, {2, 8, 9, 13, 15}, {{"verify", verify}}, false, {"remove", "fgets", "atcacert_verify_cert_hw"});
    }
    add(all, Fitted::layout_1, {2, 8, 13, 15}, exports);
    add(all, Fitted::trustx, {2, 3, 5, 8, 17}, saves, true, {"fread", "trustX_Close"});
    add(all, Fitted::trustx, {2}, locks, true, {"trustX_Close"});
    add(all, Fitted::trustx, {2, 8}, exports, true, {"trustX_Close"});
    add(all, Fitted::trustx, {2, 15}, {{"verify", verify}}, true, {"trustX_Close"});
}

void add_trustx(std::vector<Scenario> &all) {
    add(all, Fitted::trustx, {2},
        {{"slot_locked", [](Stage &s) { return tpm_is_slot_locked(0xE0E1, s.out<uint8_t>()); }},
         {"read_slot", [](Stage &s) { return read_slot(s, 0xE0E1, 1024); }},
         {"write_slot", [](Stage &s) { return tpm_write_slot(0xE0E3, s.output.data(), 1024); }},
         {"lock_slot", [](Stage &) { return tpm_lock_slot(0xE0E3); }},
         {"write_serial", [](Stage &) { return tpm_cert_set_serial_number(bytes_36, 17); }}},
        true, {"trustX_Close"});
    add(all, Fitted::trustx, {2},
        {{"genkey", [](Stage &s) { return tpm_genkey(s.out<uint8_t>(), 68); }}, {"read_serial", read_serial}}, false,
        {"trustX_Close"});
    add(all, Fitted::trustx, {2, 8, 17},
        {{"request", [](Stage &s) { return tpm_cert_gencsr_trustx(file(s, "csr").c_str()); }}}, true,
        {"trustX_Close", "fwrite"});
    add(all, Fitted::trustx, {5, 8, 17}, {{"read_pem", read_pem_trustx}}, true, {"fread"});
    add(all, Fitted::trustx, {5, 8, 17},
        {{"write_pem",
          [](Stage &s) { return tpm_octet_string_to_pem_file(file(s, "out").c_str(), s.output.data(), 500); }}});
}

void add_attributes(std::vector<Scenario> &all) {
    const std::set<int> errors = {-1, -5};  // -1, or the failed call's EIO
    add(all, Fitted::trustx, errors,
        {{"read_int", [](Stage &s) { return x_sysfs_read_int(file(s, "number").c_str(), s.out<int>()); }},
         {"write_int", [](Stage &s) { return x_sysfs_write_int(file(s, "number").c_str(), 5); }},
         {"size", [](Stage &s) { return x_sysfs_size(file(s, "number").c_str(), s.out<unsigned>()); }},
         {"exists", [](Stage &s) { return x_sysfs_exists(file(s, "number").c_str()); }},
         {"contains", [](Stage &s) { return x_sysfs_contains(file(s, "number").c_str(), "4"); }},
         {"read_bytes", [](Stage &s) { return x_sysfs_read_bytes(file(s, "eeprom").c_str(), s.out<char>(), 1, 9); }},
         {"write_bytes", [](Stage &s) { return x_sysfs_write_bytes(file(s, "eeprom").c_str(), bytes_36, 1, 9); }},
         {"shell", [](Stage &) { return x_shell_exec("true"); }},
         {"shell_background", [](Stage &) { return x_shell_exec_background("true"); }},
         {"shell_suffix", [](Stage &) { return run_with_suffix("true %d", 7); }},
         {"shell_read", run_and_read}});
    add(all, Fitted::trustx, {-1},
        {{"find_process",
          [](Stage &) {
              const int pid = x_shell_get_process_pid("no-such-process");
              return pid == -1 ? 0 : pid;
          }},
         {"wait_process", [](Stage &) { return x_shell_wait_process("no-such-process", 0), 0; }}},
        true, {"popen", "fgets", "pclose"});
}

void add_lines_and_lights(std::vector<Scenario> &all) {
    add(all, Fitted::trustx, {-1},
        {{"line_export", [](Stage &) { return x_gpio_util_export(5); }},
         {"line_direction", [](Stage &) { return x_gpio_util_direction(5, 1); }},
         {"line_get", [](Stage &s) { return x_gpio_util_get(5, s.out<int>()); }},
         {"line_set", [](Stage &) { return x_gpio_util_set(5, 1); }},
         {"line_get_direction", [](Stage &s) { return x_gpio_util_get_direction(5, s.out<int>()); }},
         {"line_edge", [](Stage &) { return x_gpio_util_edge(5, 2); }},
         {"line_get_edge", [](Stage &s) { return x_gpio_util_get_edge(5, s.out<int>()); }},
         {"line_active_low", [](Stage &) { return x_gpio_util_active_low(5, 1); }},
         {"line_get_active_low", [](Stage &s) { return x_gpio_util_get_active_low(5, s.out<int>()); }},
         {"adc", [](Stage &) { return adc_read_impl(1) >= 0 ? 0 : -1; }},
         {"ntc", [](Stage &s) { return ntc_temp_read(1, 10000, 3950, 10000, 4096, s.out<float>()); }},
         {"ntc_sysfs", [](Stage &s) { return ntc_sysfs_temp_read(file(s, "number").c_str(), s.out<float>()); }},
         {"light_set", [](Stage &) { return x_pwm_set_cycle("panel", 50); }}},
        true, {"access"});
    add(all, Fitted::trustx, {-1},
        {{"light_raw", read_and_write_light},
         {"light_get", [](Stage &s) { return x_pwm_read_cycle("panel", s.out<unsigned>()); }}},
        false);
    // The first of its two samples does not count.
    add(all, Fitted::trustx, {-1}, {{"adc_settled", [](Stage &) { return adc_read(1) >= 0 ? 0 : -1; }}}, true,
        {"open", "read", "usleep"});
    // A clearing read that fails may let an earlier edge through: the wait succeeds with or without one.
    add(all, Fitted::trustx, {-1},
        {{"line_wait", [](Stage &s) { return x_gpio_util_poll(5, 1, 0, s.out<int>()) >= 0 ? 0 : -1; }},
         {"lines_wait", [](Stage &s) { return wait_on_lines(s) >= 0 ? 0 : -1; }}},
        true, {"access", "poll", "lseek", "read"});
}

void add_sensor_eeprom(std::vector<Scenario> &all) {
    add(all, Fitted::trustx, {-1},
        {{"eeprom_payload", make_payload},
         {"eeprom_store", [](Stage &s) { return eeprom(s, x_sensor_eeprom_store); }},
         {"eeprom_load", [](Stage &s) { return eeprom(s, x_sensor_eeprom_load); }},
         {"eeprom_load_header", [](Stage &s) { return eeprom(s, x_sensor_eeprom_load_header); }},
         {"eeprom_store_header",
          [](Stage &s) {
              int status = 0;
              return x_sensor_eeprom_store_header(s.eeprom_file.c_str(), s.payload, &status);
          }},
         {"eeprom_check",
          [](Stage &s) {
              int status = 0;
              return x_sensor_eeprom_check_header(s.eeprom_file.c_str(), s.payload->hash, &status);
          }},
         {"eeprom_reset",
          [](Stage &s) {
              int status = 0;
              return x_sensor_eeprom_reset(s.eeprom_file.c_str(), &status);
          }},
         {"eeprom_header_read", [](Stage &s) { return eeprom_header_read(s.out<uint8_t>(), 256); }},
         {"eeprom_calib_read", [](Stage &s) { return eeprom_calib_read(s.out<uint8_t>(), 1000); }},
         {"eeprom_header_write", [](Stage &) { return eeprom_header_write(bytes_36, sizeof bytes_36); }},
         {"eeprom_calib_write", [](Stage &) { return eeprom_calib_write(bytes_36, sizeof bytes_36); }},
         {"compute", compute}},
        true, {"kset_init", "kset_shutdown", "kset_get_int"});
}

}  // namespace

const std::vector<Scenario> &scenarios() {
    static const std::vector<Scenario> all = [] {
        std::vector<Scenario> list;
        add_atecc(list);
        add_certificates(list);
        add_trustx(list);
        add_attributes(list);
        add_lines_and_lights(list);
        add_sensor_eeprom(list);
        return list;
    }();
    return all;
}

}  // namespace ostdrv::test
