// Fails the n-th call of every scenario, for n from 1 until the scenario gets through, once as a single failure and
// once lasting. After each: a promised status, an output that is kept where that is promised, and nothing left open,
// allocated or lying about.

#include <sys/wait.h>

#include <algorithm>

#include "atecc/chip_access.hpp"
#include "sweep/scenarios.hpp"
#include "trustx/chip_access.hpp"

namespace ostdrv::test {
namespace {

namespace fs = std::filesystem;

constexpr uint8_t untouched = 0xEE;

class Sweep : public World, public testing::WithParamInterface<Scenario> {
 protected:
    Stage stage{*this};

    void SetUp() override {
        fit(GetParam().fitted);
        put("number", "42\n");
        stage.eeprom_file = put("eeprom", std::string(4096, '\xFF'));
        fill_payload();
        snapshot_ = path("snapshot");
        // Everything that one run changes is put back before the next.
        sim::Unseen unseen;
        fs::create_directories(snapshot_);
        fs::copy(board.root(), snapshot_ / "board", fs::copy_options::recursive);
        fs::copy(path("eeprom"), snapshot_ / "eeprom");
    }

    void restore() {
        sim::Unseen unseen;
        fs::remove_all(board.root());
        fs::copy(snapshot_ / "board", board.root(), fs::copy_options::recursive);
        fs::copy_file(snapshot_ / "eeprom", path("eeprom"), fs::copy_options::overwrite_existing);
        stage.output.fill(untouched);
    }

    int run() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        sim::fault_plan::start();
        if (fault_) sim::fault_plan::add(*fault_);
        const int status = GetParam().run(stage);
        sim::fault_plan::stop();
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        return status;
    }

    // True when a call was failed.
    bool run_with(const sim::Fault &fault) {
        restore();
        const Remains before = remains();
        fault_ = fault;
        const int status = run();
        if (sim::fault_plan::injected() == 0) return false;
        const std::string failed = sim::fault_plan::log(sim::every_kind)[fault.nth - 1];
        SCOPED_TRACE(failed + (fault.lasting ? " and everything after it" : ""));
        judge(status, failed.substr(0, failed.find('(')), fault.lasting);
        if (failed.starts_with("remove") || fault.lasting) sweep_up();
        EXPECT_EQ(remains(), before);
        EXPECT_EQ(sim::trustx::open_sessions(), 0);
        return true;
    }

 private:
    fs::path snapshot_;
    std::optional<sim::Fault> fault_;

    void judge(int status, const std::string &failed, bool lasting) {
        const Scenario &s = GetParam();
        if (status == 0) {
            const bool may_go_unnoticed = failed == "close" || failed == "fclose" || s.unchecked.contains(failed);
            EXPECT_TRUE(may_go_unnoticed) << "reported as a success";
            return;
        }
        EXPECT_TRUE(s.failures.contains(status)) << "status " << status;
        if (!s.output_kept) return;
        const bool kept = std::ranges::all_of(stage.output, [](uint8_t byte) { return byte == untouched; });
        EXPECT_TRUE(kept) << (lasting ? "lasting" : "single");
    }

    // A file whose removal was made to fail is the one thing that stays.
    void sweep_up() {
        sim::Unseen unseen;
        for (const auto &entry : fs::directory_iterator(board.root() / "fs/tmp")) fs::remove(entry);
    }

    void fit(Fitted fitted) {
        const bool trustx = fitted == Fitted::trustx;
        board.fit({.chip = trustx ? "trustx" : "atecc608a", .usb = fitted == Fitted::layout_0_usb});
        board.put(trustx ? "/mnt/settings/trustx" : "/mnt/settings/atecc", "");
        ASSERT_EQ(tpm_init_device(), 0);
        if (fitted == Fitted::blank_atecc) return;
        ASSERT_EQ(tpm_init_config(nullptr), 0);
        if (fitted == Fitted::keyless_atecc) return;

        uint8_t key[91];
        ASSERT_EQ(tpm_genkey(key, 68), 0);
        PublicKey device{};
        std::copy_n(trustx ? key + 27 : key, 64, device.begin());
        if (trustx || fitted == Fitted::layout_1) {
            ASSERT_EQ(tpm_cert_set_serial_number(key, 17), 0);
        }
        stage.signer_file = put("signercert.cert", pem_of(stage.root.issue(stage.signer, {.authority = true})));
        stage.device_file =
            put("devcert.cert", pem_of(stage.signer.issue("Sweep Device", device, {.extensions = false})));
        ASSERT_EQ(tpm_cert_save_signer_cert(stage.signer_file.c_str()), 0);
        ASSERT_EQ(tpm_cert_save_device_cert(stage.device_file.c_str()), 0);
    }

    void fill_payload() {
        testing::internal::CaptureStdout();
        stage.payload = x_sensor_eeprom_payload_init();
        ASSERT_NE(stage.payload, nullptr);
        for (auto &text : stage.payload->header) std::snprintf(text, sizeof text, "s5l");
        for (const int slot : {0, 7}) {
            auto &table = stage.payload->tables[slot];
            std::snprintf(table.name, sizeof table.name, "table%d", slot);
            std::fill_n(table.data, 100, uint8_t{0x5A});
            table.length = 100;
        }
        int status = 0;
        ASSERT_EQ(x_sensor_eeprom_store(stage.eeprom_file.c_str(), stage.payload, &status), 0);
        testing::internal::GetCapturedStdout();
    }
};

using Detection = World;

TEST_P(Sweep, EveryFailingCallEndsAsPromised) {
    restore();
    ASSERT_EQ(run(), 0) << "nothing fails, so it succeeds";
    size_t injected = 0;
    for (const bool lasting : {false, true})
        // What reads byte by byte makes the same call hundreds of times: not every one of those is failed.
        for (size_t nth = 1;; nth += nth < 120 ? 1 : 37) {
            ASSERT_LT(nth, 5000u);
            if (!run_with({.nth = nth, .lasting = lasting})) break;
            ++injected;
        }
    std::cout << injected << " faults injected\n";
}

// Decided once per process, so each case is one.
TEST_F(Detection, DecidesWhateverFails) {
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

std::string place(Fitted fitted) {
    const char *const names[] = {"blank_atecc", "keyless_atecc", "layout_1", "layout_0", "layout_0_usb", "trustx"};
    return names[static_cast<int>(fitted)];
}

INSTANTIATE_TEST_SUITE_P(Functions, Sweep, testing::ValuesIn(scenarios()),
                         [](const auto &scenario) { return place(scenario.param.fitted) + "_" + scenario.param.name; });

}  // namespace

void PrintTo(const Scenario &scenario, std::ostream *out) { *out << scenario.name; }

}  // namespace ostdrv::test
