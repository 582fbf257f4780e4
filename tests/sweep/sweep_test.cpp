// Fails the n-th call of every scenario, for n from 1 until the scenario gets through, once as a single failure and
// once lasting. After each: a promised status, an output that is kept where that is promised, and nothing left open,
// allocated or lying about.
#include <sys/wait.h>

#include <array>
#include <cstdarg>
#include <filesystem>
#include <map>
#include <set>

#include "certificates/chain.hpp"
#include "trustx/session.hpp"

namespace ostdrv::test {
namespace {

namespace fs = std::filesystem;

constexpr uint8_t untouched = 0xEE;

// What a scenario works on: a chain with its files, an EEPROM, and a buffer that functions deliver into.
struct Stage : Chain {
    std::array<std::uint8_t, 1100> output{};
    x_sensor_eeprom_payload *payload = nullptr;
    const std::string eeprom = path("eeprom"), number = path("number"), out_file = path("out");

    ~Stage() override { x_sensor_eeprom_payload_free(payload); }
    template <typename Type>
    Type *out() {
        return reinterpret_cast<Type *>(output.data());
    }
};

struct Scenario {
    const char *name;
    Fitted fitted;
    std::function<int(Stage &)> run;
    std::set<int> failures;           // what it may return when a call in it failed
    bool output_kept;                 // such a failure leaves the output as it was
    std::set<std::string> unchecked;  // calls whose failure it may survive, besides close and fclose
    // How often it allocates, the platform's allocator included. What the C library takes for its streams is its own.
    std::size_t allocations;
    std::string statuses;  // when only its first call fails, its second, and so on; "2x11 1x0" is 11, 11, 0
};
void PrintTo(const Scenario &scenario, std::ostream *out) { *out << scenario.name; }

const uint8_t bytes_36[36] = {'S', 'E', 'R'}, digest[32] = {1, 2, 3};

int read_slot(Stage &s, unsigned slot, size_t length) { return tpm_read_slot(slot, s.out<uint8_t>(), &length); }

int verify(Stage &s) {
    const char *const paths[] = {s.signer_file.c_str(), s.device_file.c_str()};
    return tpm_cert_verify(s.root.public_key().data(), paths, s.out<uint8_t>());
}

int read_serial(Stage &s) {
    int wanted = 35;
    return tpm_cert_get_serial_number(s.out<char>(), &wanted);
}

int read_pem(Stage &s, int (*read)(const char *, uint8_t *, size_t *)) {
    size_t length = 1024;
    return read(s.signer_file.c_str(), s.out<uint8_t>(), &length);
}

// The status stands for the operation. -1: its result does not agree, as an erasure's that could not be written.
template <typename Operation, typename... Arguments>
int eeprom(Stage &s, Operation *operation, Arguments... arguments) {
    int status = -99;
    const int result = operation(s.eeprom.c_str(), arguments..., &status);
    return (result == 0) == (status == 0) ? status : -1;
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
    return entries[0].fd == -1 && entries[1].fd == -1 && result >= 0 ? 0 : -1;
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
    FILE *const stream = x_shell_popen("true %d", 7);
    return stream ? pclose(stream) : -1;
}

std::vector<Scenario> scenarios() {
    std::vector<Scenario> all;
    Scenario next{};
    // What the following ones have in common.
    const auto on = [&](Fitted fitted, std::set<int> failures, std::set<std::string> unchecked = {}, bool kept = true) {
        next = {"", fitted, nullptr, std::move(failures), kept, std::move(unchecked), 0, ""};
    };
    const auto add = [&](const char *name, std::function<int(Stage &)> run) {
        next.name = name, next.run = std::move(run);
        all.push_back(next);
    };
    const auto add_exactly = [&](std::size_t allocations, const char *statuses, const char *name,
                                 std::function<int(Stage &)> run) {
        next.allocations = allocations, next.statuses = statuses;
        add(name, std::move(run));
    };
    constexpr bool changed = false;

    for (const Fitted atecc : {Fitted::blank_atecc, Fitted::layout_0_usb}) {
        on(atecc, {1}, {"access", "fopen", "fread", "system"});
        add("start", [](Stage &) { return tpm_init_device(); });
    }
    on(Fitted::blank_atecc, {2});
    add("config", [](Stage &s) { return tpm_get_config_atecc(s.out<uint8_t>()); });
    add("config_locked", [](Stage &s) { return tpm_is_config_locked(s.out<uint8_t>()); });
    add("data_locked", [](Stage &s) { return tpm_is_data_locked(s.out<uint8_t>()); });
    add("slot_locked", [](Stage &s) { return tpm_is_slot_locked(9, s.out<uint8_t>()); });
    on(Fitted::blank_atecc, {2, 7});
    add("provision", [](Stage &) { return tpm_init_config(nullptr); });
    on(Fitted::layout_1, {31});
    add("type", [](Stage &) { return tpm_get_type() - 1; });
    on(Fitted::layout_1, {-1});
    add("table", [](Stage &) { return __get_tpm_cert_api() ? 0 : -1; });
    on(Fitted::layout_1, {2});
    add("read_slot", [](Stage &s) { return read_slot(s, 8, 416); });
    add("read_key_slot", [](Stage &s) { return read_slot(s, 0, 64); });
    add("write_slot", [](Stage &) { return tpm_write_slot(12, bytes_36, sizeof bytes_36); });
    add("lock_slot", [](Stage &) { return tpm_lock_slot(12); });
    add("sign", [](Stage &s) { return tpm_sign_atecc(digest, s.out<uint8_t>()); });
    add("write_public_key", [](Stage &s) { return tpm_write_public_key_atecc(12, s.device_key.data()); });
    add("verify_given", [](Stage &s) {
        return tpm_verify_with_ext_public_key_atecc(digest, s.device_key.data(), s.device_key.data(), s.out<bool>());
    });
    add("verify_stored", [](Stage &s) {
        return tpm_verify_with_stored_public_key_atecc(digest, s.device_key.data(), 12, s.out<bool>());
    });
    add("version", [](Stage &s) { return tpm_cert_get_version(s.out<uint8_t>()); });
    add("write_serial", [](Stage &) { return tpm_cert_set_serial_number(bytes_36, 17); });
    add("lock_serial", [](Stage &) { return tpm_cert_lock_serial_number(); });
    for (const Fitted atecc : {Fitted::keyless_atecc, Fitted::layout_1}) {
        on(atecc, {2}, {}, changed);
        add("genkey", [](Stage &s) { return tpm_genkey(s.out<uint8_t>(), 64); });
    }
    add("read_serial", read_serial);
    add("challenge", [](Stage &s) { return __cert_challenge(s.device_key.data(), s.out<uint8_t>()); });
    on(Fitted::layout_1, {2, 8}, {"fwrite"});
    add("request", [](Stage &s) { return tpm_cert_gencsr(s.out_file.c_str()); });
    on(Fitted::layout_1, {2, 5, 8});
    next.allocations = 2;
    add("read_pem", [](Stage &s) { return read_pem(s, tpm_cert_read_cert_from_file); });
    on(Fitted::layout_1, {8, 9}, {"unlink", "fgets"});
    add("template", [](Stage &s) {
        return tpm_cert_reconfig_atcacert_def(s.out<atcacert_def_t>(), s.signer_cert.data(), s.signer_cert.size());
    });
    add("template_key",
        [](Stage &s) { return tpm_get_pubkey_from_tbs(s.signer_cert.data(), s.signer_cert.size(), s.out<uint8_t>()); });

    const auto add_saves = [&] {
        add("save_signer", [](Stage &s) { return tpm_cert_save_signer_cert(s.signer_file.c_str()); });
        add("save_device", [](Stage &s) { return tpm_cert_save_device_cert(s.device_file.c_str()); });
    };
    const auto add_locks = [&] {
        add("lock_signer", [](Stage &) { return tpm_cert_lock_signer_cert(); });
        add("lock_device", [](Stage &) { return tpm_cert_lock_device_cert(); });
    };
    const auto add_exports = [&] {
        add("export_signer", [](Stage &s) { return tpm_cert_export_signer_cert(s.out_file.c_str()); });
        add("export_device", [](Stage &s) { return tpm_cert_export_device_cert(s.out_file.c_str()); });
    };
    for (const Fitted atecc : {Fitted::layout_1, Fitted::layout_0, Fitted::layout_0_usb}) {
        // A dump that ends early locates nothing, which the chip's library or the reader refuses.
        on(atecc, {2, 8, 9, 13}, {"unlink", "fgets"});
        next.allocations = 2;
        add_saves();
        on(atecc, {2, 13});
        add_locks();
        on(atecc, {2, 8, 9, 13, 15}, {"unlink", "fgets", "atcacert_verify_cert_hw"}, changed);
        next.allocations = atecc == Fitted::layout_0 ? 4 : 0;
        add("verify", verify);
    }
    on(Fitted::layout_1, {2, 8, 13, 15});
    add_exports();
    on(Fitted::trustx, {2, 3, 5, 8, 17}, {"fread", "trustX_Close"});
    next.allocations = 1;
    add_saves();
    on(Fitted::trustx, {2, 8}, {"trustX_Close"});
    next.allocations = 1;
    add_exports();
    on(Fitted::trustx, {2, 15}, {"trustX_Close"});
    add("verify", verify);
    on(Fitted::trustx, {2}, {"trustX_Close"});
    add_locks();
    add("slot_locked", [](Stage &s) { return tpm_is_slot_locked(0xE0E1, s.out<uint8_t>()); });
    add("read_slot", [](Stage &s) { return read_slot(s, 0xE0E1, 1024); });
    add("write_slot", [](Stage &s) { return tpm_write_slot(0xE0E3, s.output.data(), 1024); });
    add("lock_slot", [](Stage &) { return tpm_lock_slot(0xE0E3); });
    add("write_serial", [](Stage &) { return tpm_cert_set_serial_number(bytes_36, 17); });
    on(Fitted::trustx, {2}, {"trustX_Close"}, changed);
    add("genkey", [](Stage &s) { return tpm_genkey(s.out<uint8_t>(), 68); });
    add("read_serial", read_serial);
    on(Fitted::trustx, {2, 8, 17}, {"trustX_Close", "fwrite"});
    add("request", [](Stage &s) { return tpm_cert_gencsr_trustx(s.out_file.c_str()); });
    on(Fitted::trustx, {5, 8, 17}, {"fread"});
    next.allocations = 1;
    add("read_pem", [](Stage &s) { return read_pem(s, tpm_pem_file_to_octet_string); });
    on(Fitted::trustx, {5, 8, 17});
    next.allocations = 1;
    add("write_pem", [](Stage &s) { return tpm_octet_string_to_pem_file(s.out_file.c_str(), s.output.data(), 500); });

    on(Fitted::trustx, {-1, -5});  // -1, or the failed call's EIO
    add("read_int", [](Stage &s) { return x_sysfs_read_int(s.number.c_str(), s.out<int>()); });
    add("write_int", [](Stage &s) { return x_sysfs_write_int(s.number.c_str(), 5); });
    add("size", [](Stage &s) { return x_sysfs_size(s.number.c_str(), s.out<unsigned>()); });
    add("exists", [](Stage &s) { return x_sysfs_exists(s.number.c_str()); });
    add("contains", [](Stage &s) { return x_sysfs_contains(s.number.c_str(), "4"); });
    add("read_bytes", [](Stage &s) { return x_sysfs_read_bytes(s.eeprom.c_str(), s.out<char>(), 1, 9); });
    add("write_bytes", [](Stage &s) { return x_sysfs_write_bytes(s.eeprom.c_str(), bytes_36, 1, 9); });
    add("shell", [](Stage &) { return x_shell_exec("true"); });
    add("shell_background", [](Stage &) { return x_shell_exec_background("true"); });
    add("shell_suffix", [](Stage &) { return run_with_suffix("true %d", 7); });
    add("shell_read", run_and_read);
    on(Fitted::trustx, {-1}, {"popen", "fgets", "pclose"});
    add("find_process", [](Stage &) { return x_shell_get_process_pid("no-such-process") + 1; });
    add("wait_process", [](Stage &) { return x_shell_wait_process("no-such-process", 0), 0; });

    on(Fitted::trustx, {-1}, {"access"});
    add("line_export", [](Stage &) { return x_gpio_util_export(5); });
    add("line_direction", [](Stage &) { return x_gpio_util_direction(5, 1); });
    add("line_get", [](Stage &s) { return x_gpio_util_get(5, s.out<int>()); });
    add("line_set", [](Stage &) { return x_gpio_util_set(5, 1); });
    add("line_get_direction", [](Stage &s) { return x_gpio_util_get_direction(5, s.out<int>()); });
    add("line_edge", [](Stage &) { return x_gpio_util_edge(5, 2); });
    add("line_get_edge", [](Stage &s) { return x_gpio_util_get_edge(5, s.out<int>()); });
    add("line_active_low", [](Stage &) { return x_gpio_util_active_low(5, 1); });
    add("line_get_active_low", [](Stage &s) { return x_gpio_util_get_active_low(5, s.out<int>()); });
    add("adc", [](Stage &) { return adc_read_impl(1) >= 0 ? 0 : -1; });
    add("ntc", [](Stage &s) { return ntc_temp_read(1, 10000, 3950, 10000, 4096, s.out<float>()); });
    add("ntc_sysfs", [](Stage &s) { return ntc_sysfs_temp_read(s.number.c_str(), s.out<float>()); });
    add("light_set", [](Stage &) { return x_pwm_set_cycle("panel", 50); });
    on(Fitted::trustx, {-1}, {}, changed);
    add("light_raw", read_and_write_light);
    add("light_get", [](Stage &s) { return x_pwm_read_cycle("panel", s.out<unsigned>()); });
    // The first of its two samples does not count.
    on(Fitted::trustx, {-1}, {"open", "read", "usleep"});
    add("adc_settled", [](Stage &) { return adc_read(1) >= 0 ? 0 : -1; });
    // A clearing read that fails may let an earlier edge through: the wait succeeds with or without one.
    on(Fitted::trustx, {-1}, {"access", "poll", "lseek", "read"});
    add("line_wait", [](Stage &s) { return x_gpio_util_poll(5, 1, 0, s.out<int>()) >= 0 ? 0 : -1; });
    add("lines_wait", wait_on_lines);

    on(Fitted::trustx, {-1});
    add("eeprom_header_read", [](Stage &s) { return eeprom_header_read(s.out<uint8_t>(), 256); });
    add("eeprom_header_write", [](Stage &) { return eeprom_header_write(bytes_36, sizeof bytes_36); });
    add("eeprom_calib_write", [](Stage &) { return eeprom_calib_write(bytes_36, sizeof bytes_36); });
    add("compute", compute);
    add_exactly(1, "", "eeprom_calib_read", [](Stage &s) { return eeprom_calib_read(s.out<uint8_t>(), 1000); });
    add_exactly(21, "", "eeprom_payload", make_payload);
    on(Fitted::trustx, {-1, 4, 11, 12, 13, 18}, {"kset_init", "kset_shutdown", "kset_get_int"});
    add_exactly(3,
                "3x11 13x13 1x0 3x13 2x0 9x12 1x0 4x12 1x0 9x12 1x0 6x12 1x0 1x11 9x12 1x0 2x12 1x0 8x13 1x0 2x13 2x0",
                "eeprom_store", [](Stage &s) { return eeprom(s, x_sensor_eeprom_store, s.payload); });
    add_exactly(3, "2x11 9x12 1x0 4x12 1x0 9x12 1x0 2x12 1x0", "eeprom_load",
                [](Stage &s) { return eeprom(s, x_sensor_eeprom_load, s.payload); });
    add_exactly(0, "1x11 9x12 1x0 2x12 1x0 8x13 1x0 2x13 2x0", "eeprom_store_header",
                [](Stage &s) { return eeprom(s, x_sensor_eeprom_store_header, s.payload); });
    add_exactly(0, "1x11 9x12 1x0 2x12 1x0 10x4 1x0", "eeprom_load_header",
                [](Stage &s) { return eeprom(s, x_sensor_eeprom_load_header, s.payload); });
    add_exactly(0, "1x11 9x12 1x0 2x12 1x0 5x4 1x18 1x4 1x0", "eeprom_check",
                [](Stage &s) { return eeprom(s, x_sensor_eeprom_check_header, s.payload->hash); });
    add_exactly(1, "2x11 3x-1 1x0", "eeprom_reset", [](Stage &s) { return eeprom(s, x_sensor_eeprom_reset); });
    return all;
}

std::string runs_of(const std::vector<int> &numbers) {
    std::string text;
    for (auto at = numbers.begin(); at != numbers.end();) {
        const auto end = std::find_if(at, numbers.end(), [&](int number) { return number != *at; });
        text += (text.empty() ? "" : " ") + std::to_string(end - at) + "x" + std::to_string(*at);
        at = end;
    }
    return text;
}

class Sweep : public Stage, public testing::WithParamInterface<Scenario> {
 protected:
    void SetUp() override {
        fit(GetParam().fitted);
        if (!signer_cert.empty()) save_chain();
        put("number", "42\n");
        put("eeprom", std::string(4096, '\xFF'));
        ASSERT_NE(payload = x_sensor_eeprom_payload_init(), nullptr);
        fill_payload();
        ASSERT_EQ(quiet([&] { return test::eeprom(*this, x_sensor_eeprom_store, payload); }), 0);
        fresh_ = keep();
    }

    int run(const sim::Fault *fault = nullptr) {
        restore(fresh_);
        output.fill(untouched);
        fill_payload();
        return quiet([&] {
            sim::fault_plan::start();
            if (fault) sim::fault_plan::add(*fault);
            const int status = GetParam().run(*this);
            sim::fault_plan::stop();
            return status;
        });
    }

    // What the scenario returned; nothing when no call was failed.
    std::optional<int> run_with(const sim::Fault &fault) {
        const Remains before = remains();
        const int status = run(&fault);
        if (sim::fault_plan::injected() == 0) return std::nullopt;
        const std::string failed = sim::fault_plan::log(sim::every_kind)[fault.nth - 1];
        SCOPED_TRACE(failed + (fault.lasting ? " and everything after it" : ""));
        judge(status, failed.substr(0, failed.find('(')));
        // A file whose removal was made to fail is the one thing that stays.
        if (failed.starts_with("unlink") || fault.lasting) empty(board.root() + "/fs/tmp");
        EXPECT_EQ(remains(), before);
        EXPECT_EQ(sim::trustx::open_sessions(), 0);
        return status;
    }

 private:
    Files fresh_;

    template <typename Action>
    static int quiet(Action action) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = action();
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        return status;
    }

    static void empty(const fs::path &directory) {
        sim::Unseen unseen;
        for (const auto &entry : fs::directory_iterator(directory)) fs::remove(entry);
    }

    void judge(int status, const std::string &failed) {
        const Scenario &s = GetParam();
        if (status == 0) {
            const bool may_go_unnoticed = failed == "close" || failed == "fclose" || s.unchecked.contains(failed);
            EXPECT_TRUE(may_go_unnoticed) << "reported as a success";
            return;
        }
        EXPECT_TRUE(s.failures.contains(status)) << "status " << status;
        EXPECT_TRUE(!s.output_kept || std::ranges::count(output, untouched) == std::ssize(output));
    }

    void fill_payload() {
        for (auto &text : payload->header) std::snprintf(text, sizeof text, "s5l");
        for (const int slot : {0, 7}) {
            auto &table = payload->tables[slot];
            std::snprintf(table.name, sizeof table.name, "table%d", slot);
            std::fill_n(table.data, 100, uint8_t{0x5A});
            table.length = 100;
        }
    }
};

TEST_P(Sweep, EveryFailingCallEndsAsPromised) {
    ASSERT_EQ(run(), 0) << "nothing fails, so it succeeds";
    std::size_t injected = 0, allocated = sim::fault_plan::calls(static_cast<unsigned>(sim::CallKind::allocation));
    for (const std::string &call : sim::fault_plan::log()) allocated += call.starts_with("kos_mem_alloc(");
    EXPECT_EQ(allocated, allocations_can_fail ? GetParam().allocations : allocated);
    std::vector<int> statuses;
    for (const bool lasting : {false, true})
        // What reads byte by byte makes the same call hundreds of times: not every one of those is failed.
        for (size_t nth = 1;; nth += nth < 120 ? 1 : 37, ++injected) {
            ASSERT_LT(nth, 5000u);
            const auto status = run_with({.nth = nth, .lasting = lasting});
            if (!status) break;
            if (!lasting) statuses.push_back(*status);
        }
    if (!GetParam().statuses.empty()) {
        EXPECT_EQ(runs_of(statuses), GetParam().statuses);
    }
    std::cout << injected << " faults injected\n";
}

// Decided once per process, so each case is one.
TEST_F(Chain, ChipDetectionDecidesWhateverFails) {
    board.fit({.chip = "atecc608a"});
    int ended = 0;
    int nth = 0;
    for (; ended == 0; ++nth) {
        const pid_t process = fork();
        if (process == 0) {
            const Remains before = remains();
            int type = 0;
            const int status = with_fault({.nth = size_t(nth) + 1}, [&] { return tpm_get_chip_type(&type); });
            const bool right = status == 0 && (type == 1 || type == 2) && remains() == before;
            _exit(!right ? 1 : sim::fault_plan::injected() ? 0 : 2);
        }
        waitpid(process, &ended, 0);
        for (const char *marker : {"/mnt/settings/atecc", "/mnt/settings/trustx"}) board.remove(marker);
    }
    EXPECT_EQ(WEXITSTATUS(ended), 2) << "call " << nth << " failed, and detection with it";
    EXPECT_GT(nth, 5);
}

INSTANTIATE_TEST_SUITE_P(Functions, Sweep, testing::ValuesIn(scenarios()), [](const auto &scenario) {
    return name_of(scenario.param.fitted) + "_" + scenario.param.name;
});

}  // namespace
}  // namespace ostdrv::test
