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
}

TEST_F(ChipDetection, FiveTriesWithoutAnAnswerMeanTrustx) {
    board.fit({.chip = "trustx"});
    Calls expected{ask_atecc, ask_trustx, "open(/dev/i2c-2)"};
    expected.insert(expected.end(), 5, "ioctl(0x707)");
    for (const char *call : {"close()", "system(/bin/rm /mnt/settings/atecc > /dev/null 2>&1)",
                             "system(/bin/touch /mnt/settings/trustx > /dev/null 2>&1)"})
        expected.push_back(call);
    EXPECT_EQ(calls_of([] { EXPECT_EQ(detected(), 2); }), expected);
}

TEST_F(ChipDetection, ALaterTrySuffices) {
    board.fit({.chip = "atecc608a"});
    const sim::Fault half_an_answer{.name = "ioctl", .has_result = true, .result = 1};
    EXPECT_EQ(with_fault(half_an_answer, detected), 1);
}

TEST_F(ChipDetection, ABusThatCannotBeOpenedIsNotProbed) {
    board.remove("/dev/i2c-2");
    const Calls calls = calls_of([] { EXPECT_EQ(detected(), 2); });
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "ioctl(0x707)"), 0);
}

TEST_F(ChipDetection, NullArgumentsComeBeforeDetection) {
    const Calls calls = calls_of([] {
        EXPECT_EQ(tpm_get_chip_type(nullptr), 3);
        EXPECT_EQ(tpm_is_data_locked(nullptr), 3);
        EXPECT_EQ(tpm_is_slot_locked(0, nullptr), 3);
        EXPECT_EQ(tpm_get_config_atecc(nullptr), 3);
        EXPECT_EQ(tpm_genkey(nullptr, 68), 3);
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
