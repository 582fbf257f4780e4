// Cuts a factory line's power at every chip command and every system call, on each chip, layout and bus, and runs the
// line again: the device gets its identity, whatever the cut left behind.

#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <map>
#include <set>

#include "certificates/authority.hpp"
#include "secure_element/chips.hpp"

extern "C" int factory_line(int argc, char **argv);  // the example's main

namespace ostdrv::test {
namespace {

namespace fs = std::filesystem;

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
        board.fit({.chip = GetParam().chip, .usb = GetParam().usb, .shell = "bash"});
        if (GetParam().usb) board.put("/mnt/settings/atecc", "");  // nothing answers on I2C there
        if (GetParam().layout == 0) store_serial_of_layout_0();
        fs::create_directory(path("line"));
        const PublicKey key = root.public_key();
        put("line/root.key", {key.begin(), key.end()});
        put("line/signercert.cert", pem_of(root.issue(signer, {.authority = true})));
    }

    // Runs a station in a process of its own: how it ended, as an exit status or a negative signal.
    int station(const char *name, std::size_t cut_at = 0) {
        const std::string directory = path("line"), log = path("log");
        const pid_t process = fork();
        if (process == 0) {
            const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            const char *arguments[] = {"factory_line", name, directory.c_str(), serial};
            if (cut_at) {
                sim::fault_plan::start();
                // What reads leaves nothing behind: a cut there is one at the call after it.
                sim::fault_plan::add({.except = {"access", "fgets", "fread", "read"},
                                      .kinds = sim::power_cut_kinds,
                                      .nth = cut_at,
                                      .kill = true});
            }
            _exit(factory_line(4, const_cast<char **>(arguments)));
        }
        int status = 0;
        waitpid(process, &status, 0);
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

    // Copies board and line to or from a place of that name.
    void keep(const std::string &name) const { copy_into(path(name), ""); }
    void restore(const std::string &name) const { copy_into(path(""), name + "/"); }

    // Everything that outlives a cut.
    std::string what_is_left() {
        std::map<std::string, std::string> files;
        for (const char *part : {"board", "line"})
            for (const auto &entry : fs::recursive_directory_iterator(path(part)))
                if (entry.is_regular_file()) files[entry.path()] = get(fs::relative(entry.path(), path("")));
        std::string all;
        for (const auto &[name, content] : files) all += name + '\0' + content + '\0';
        return all;
    }

    void cut_everywhere(const char *name, const char *before) {
        std::set<std::string> states;
        std::size_t cuts = 0;
        for (;; ++cuts) {
            restore(before);
            const int end = station(name, cuts + 1);
            if (end == 0) break;
            ASSERT_EQ(end, -SIGKILL) << get("log");
            SCOPED_TRACE(std::string(name) + ", cut " + std::to_string(cuts + 1));
            if (states.insert(what_is_left()).second) run_the_line();
            if (HasFatalFailure()) return;
        }
        EXPECT_GT(cuts, 10u);
        std::cout << name << ": " << cuts << " power cuts left " << states.size() << " states, all finished\n";
    }

 private:
    static constexpr std::ptrdiff_t key_at = 85;

    void copy_into(const fs::path &to, const std::string &from) const {
        for (const char *part : {"board", "line"}) {
            fs::remove_all(to / part);
            fs::create_directories(to);
            fs::copy(path(from + part), to / part, fs::copy_options::recursive);
        }
    }

    void store_serial_of_layout_0() {
        change<AteccState>([](AteccState &chip) {
            const auto record = chip.slot(7);
            std::ranges::fill(record, std::uint8_t{0});
            std::copy_n(serial, std::strlen(serial), record.begin());
        });
    }
};

TEST_P(PowerCut, TheLineFinishesAfterwards) {
    keep("blank");
    cut_everywhere("request", "blank");
    restore("blank");
    ASSERT_EQ(station("request"), 0) << get("log");
    answer_request();
    keep("answered");
    cut_everywhere("finish", "answered");
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
