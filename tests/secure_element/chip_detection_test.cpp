#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

using ChipDetection = World;

constexpr const char *ask_atecc = "system(/bin/cat /mnt/settings/atecc > /dev/null 2>&1)";
constexpr const char *ask_trustx = "system(/bin/cat /mnt/settings/trustx > /dev/null 2>&1)";

int detected() {
    int type = 0;
    EXPECT_EQ(tpm_get_chip_type(&type), 0);
    return type;
}

TEST_F(ChipDetection, AnAteccMarkerDecidesWhateverIsFitted) {
    board.fit({.chip = "trustx"});
    board.put("/mnt/settings/atecc", "");
    board.put("/mnt/settings/trustx", "");
    EXPECT_EQ(calls_of([] { EXPECT_EQ(detected(), 1); }), Calls{ask_atecc});
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_slot_count(), 16); }), Calls{}) << "decided once per process";
}

TEST_F(ChipDetection, ATrustxMarkerAloneDecidesForTheTrustx) {
    board.fit({.chip = "atecc608a"});
    board.put("/mnt/settings/trustx", "");
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_slot_count(), 8); }), (Calls{ask_atecc, ask_trustx}));
}

TEST_F(ChipDetection, AnAnswerOnTheBusIsAnAteccAndIsRemembered) {
    board.fit({.chip = "atecc508a"});
    const Calls calls = calls_of([] { EXPECT_EQ(detected(), 1); });
    EXPECT_EQ(calls, (Calls{ask_atecc, ask_trustx, "open(/dev/i2c-2)", "ioctl(0x707)", "close()",
                            "system(/bin/rm /mnt/settings/trustx > /dev/null 2>&1)",
                            "system(/bin/touch /mnt/settings/atecc > /dev/null 2>&1)"}));
    EXPECT_TRUE(board.get("/mnt/settings/atecc"));
    EXPECT_FALSE(board.get("/mnt/settings/trustx"));
}

TEST_F(ChipDetection, FiveTriesWithoutAnAnswerMeanTrustx) {
    board.fit({.chip = "trustx"});
    const Calls calls = calls_of([] { EXPECT_EQ(detected(), 2); });
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "ioctl(0x707)"), 5);
    EXPECT_EQ(calls[calls.size() - 3], "close()") << "the bus is closed before the markers change";
    EXPECT_FALSE(board.get("/mnt/settings/atecc"));
    EXPECT_TRUE(board.get("/mnt/settings/trustx"));
}

TEST_F(ChipDetection, ALaterTrySuffices) {
    board.fit({.chip = "atecc608a"});
    sim::fault_plan::start();
    for (std::size_t nth = 1; nth <= 4; ++nth)
        sim::fault_plan::add({.name = "ioctl", .nth = nth, .has_result = true, .result = 1});
    EXPECT_EQ(detected(), 1) << "one message of two is not an answer";
    sim::fault_plan::stop();
}

TEST_F(ChipDetection, ABusThatCannotBeOpenedIsNotProbed) {
    board.fit({.chip = "atecc608a"});
    board.remove("/dev/i2c-2");
    const Calls calls = calls_of([] { EXPECT_EQ(detected(), 2); });
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "ioctl(0x707)"), 0);
}

TEST_F(ChipDetection, NullArgumentsComeBeforeDetection) {
    const Calls calls = calls_of([] {
        EXPECT_EQ(tpm_get_chip_type(nullptr), 3);
        EXPECT_EQ(tpm_is_data_locked(nullptr), 3);
        EXPECT_EQ(tpm_is_slot_locked(0, nullptr), 3);
        EXPECT_EQ(tpm_genkey(nullptr, 68), 3);
        EXPECT_EQ(tpm_get_config_atecc(nullptr), 3);
        EXPECT_EQ(tpm_cert_get_version(nullptr), 3);
        EXPECT_EQ(tpm_cert_set_serial_number(nullptr, 1), 12);
        size_t none = 0;
        uint8_t byte = 0;
        EXPECT_EQ(tpm_read_slot(1, &byte, &none), 3);
        EXPECT_EQ(tpm_write_slot(1, &byte, 0), 3);
    });
    EXPECT_EQ(calls, Calls{});
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_is_config_locked(nullptr), 3); }).front(), ask_atecc) << "the exception";
}

}  // namespace
}  // namespace ostdrv::test
