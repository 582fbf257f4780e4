// Finds out what a power cut at every chip command and every system call of a factory line leaves behind, on each chip,
// layout and bus, and runs the line again from there: the device gets its identity.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <map>

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

extern "C" int factory_line(int argc, char **argv);  // the example's main

namespace ostdrv::test {
namespace {

constexpr auto serial = "OSTRAVEL000000042";

struct Line {
    std::string chip;
    int layout = 1;
    bool usb = false;
};

std::ostream &operator<<(std::ostream &out, const Line &line) {
    return out << line.chip << "_layout" << line.layout << (line.usb ? "_usb" : "");
}

class PowerCut : public World, public testing::WithParamInterface<Line> {
 protected:
    // Names of a length that puts the signer's key where a Trust X verification looks for it.
    Authority root{"Factory Line Root Authority"};
    Authority signer{"Factory Line Signer 000001"};
    const bool on_trustx = GetParam().chip == "trustx";

    void SetUp() override {
        board.fit({.chip = GetParam().chip, .usb = GetParam().usb, .shell = GetParam().usb ? "bash" : sim::host_shell});
        if (GetParam().usb) board.put("/mnt/settings/atecc", "");  // nothing answers on I2C there
        if (GetParam().layout == 0) store_serial_of_layout_0();
        mkdir(path("line").c_str(), 0755);
        const PublicKey key = root.public_key();
        put("line/root.key", {key.begin(), key.end()});
        put("line/signercert.cert", pem_of(root.issue(signer, {.authority = true})));
    }

    // Runs a station in a process of its own, stopped at each call for whoever looks at what a cut there would leave:
    // how it ended, as an exit status or a negative signal.
    int station(const char *name, const std::function<void()> &look = {}) {
        const std::string directory = path("line"), log = path("log");
        const pid_t process = fork();
        if (process == 0) {
            const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            const char *arguments[] = {"factory_line", name, directory.c_str(), serial};
            if (look) {
                sim::fault_plan::start();
                // What reads leaves nothing behind: a cut there is one at the call after it.
                sim::fault_plan::add({.except = {"access", "fgets", "fread", "read"},
                                      .kinds = sim::power_cut_kinds,
                                      .lasting = true,
                                      .signal = SIGSTOP});
            }
            _exit(factory_line(4, const_cast<char **>(arguments)));
        }
        int status = 0;
        while (waitpid(process, &status, WUNTRACED) == process && WIFSTOPPED(status)) {
            look();
            kill(process, SIGCONT);
        }
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }

    // The authority between the stations.
    void answer_request() {
        if (!exists("line/request.csr")) return;
        const Bytes request = der_of(get("line/request.csr"), "CERTIFICATE REQUEST");
        PublicKey key{};
        ASSERT_GT(request.size(), key_at + key.size());
        std::copy_n(request.begin() + key_at, key.size(), key.begin());
        ASSERT_TRUE(request_is_sound(request, serial, key));
        put("line/devcert.cert", pem_of(signer.issue("Device of the line", key, {.extensions = false})));
    }

    void run_the_line() {
        ASSERT_EQ(station("request"), 0) << get("log");
        answer_request();
        ASSERT_EQ(station("finish"), 0) << get("log");
        if (!on_trustx) return;  // an ATECC has proven that it holds the key
        const Bytes certificate = inspect<TrustxState>().content(0xE0E1);
        const auto key = inspect<TrustxState>().public_key(0xE0F1);
        ASSERT_TRUE(key && std::equal(key->begin(), key->end(), certificate.data() + parts_of(certificate).key_offset));
    }

    void cut_everywhere(const char *name) {
        std::map<Files, std::size_t> states;
        std::size_t cuts = 0;
        const auto look = [&] {
            Files left = keep();
            left.erase(path("log"));  // what the station said
            states.emplace(left, ++cuts);
        };
        ASSERT_EQ(station(name, look), 0) << get("log");
        EXPECT_GT(cuts, 10u);
        for (const auto &[left, cut] : states) {
            SCOPED_TRACE(std::string(name) + ", cut " + std::to_string(cut));
            restore(left);
            run_the_line();
            if (HasFatalFailure()) return;
        }
        std::cout << name << ": " << cuts << " power cuts left " << states.size() << " states, all finished\n";
    }

 private:
    static constexpr std::ptrdiff_t key_at = 85;

    void store_serial_of_layout_0() {
        change<AteccState>([](AteccState &chip) {
            const auto record = chip.slot(7);
            std::ranges::fill(record, std::uint8_t{0});
            std::copy_n(serial, std::strlen(serial), record.begin());
        });
    }
};

TEST_P(PowerCut, TheLineFinishesAfterwards) {
    const Files blank = keep();
    cut_everywhere("request");
    restore(blank);
    ASSERT_EQ(station("request"), 0) << get("log");
    answer_request();
    cut_everywhere("finish");
}

TEST_P(PowerCut, WhatIsWrongForGoodIsSaid) {
    run_the_line();
    const PublicKey another = signer.public_key();
    put("line/root.key", {another.begin(), another.end()});
    const int requested = station("request");
    EXPECT_EQ(requested == 0 ? station("finish") : requested, 3);
    const char *const place = on_trustx ? "locked for good: object 0xE0E1" : "locked for good: slot 0x9";
    EXPECT_NE(get("log").find(place), std::string::npos) << get("log");
}

INSTANTIATE_TEST_SUITE_P(Lines, PowerCut,
                         testing::Values(Line{"atecc508a"}, Line{"atecc508a", 0}, Line{"atecc608a"},
                                         Line{"atecc608a", 1, true}, Line{"atecc608a", 0}, Line{"atecc608a", 0, true},
                                         Line{"trustx"}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace ostdrv::test
