#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

using ChipDetection = World;

const std::string ask_atecc = "system(/bin/cat /mnt/settings/atecc > /dev/null 2>&1)",
                  ask_trustx = "system(/bin/cat /mnt/settings/trustx > /dev/null 2>&1)",
                  forget_atecc = "system(/bin/rm /mnt/settings/atecc > /dev/null 2>&1)",
                  forget_trustx = "system(/bin/rm /mnt/settings/trustx > /dev/null 2>&1)",
                  note_atecc = "system(/bin/touch /mnt/settings/atecc > /dev/null 2>&1)",
                  note_trustx = "system(/bin/touch /mnt/settings/trustx > /dev/null 2>&1)", ask_bus = "ioctl(0x707)";

int detected() {
    int type = 0;
    EXPECT_EQ(tpm_get_chip_type(&type), 0);
    return type;
}

struct Case {
    const char *name, *chip, *markers;  // what is fitted; whose marker files are there
    int type, slots;
    Calls calls;
};
void PrintTo(const Case &c, std::ostream *out) { *out << c.name; }

// Decided once per process, so each row is one.
class Detected : public World, public testing::WithParamInterface<Case> {};

TEST_P(Detected, ByMarkerThenByTheBusAndIsRemembered) {
    const Case &c = GetParam();
    board.fit({.chip = c.chip});
    if (!*c.chip) board.remove("/dev/i2c-2");
    for (const char *marker : {"atecc", "trustx"})
        if (std::string(c.markers).find(marker) != std::string::npos)
            board.put(std::string("/mnt/settings/") + marker, "");
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(detected(), c.type); }), c.calls);
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_slot_count(), c.slots); }), Calls{});
}

const Case cases[] = {{"AteccMarker", "trustx", "atecc trustx", 1, 16, {ask_atecc}},
                      {"TrustxMarker", "atecc608a", "trustx", 2, 8, {ask_atecc, ask_trustx}},
                      {"AnswerOnTheBus",
                       "atecc508a",
                       "",
                       1,
                       16,
                       {ask_atecc, ask_trustx, "open(/dev/i2c-2)", ask_bus, "close()", forget_trustx, note_atecc}},
                      {"FiveTriesWithoutAnAnswer",
                       "trustx",
                       "",
                       2,
                       8,
                       {ask_atecc, ask_trustx, "open(/dev/i2c-2)", ask_bus, ask_bus, ask_bus, ask_bus, ask_bus,
                        "close()", forget_atecc, note_trustx}},
                      {"NoBus", "", "", 2, 8, {ask_atecc, ask_trustx, "open(/dev/i2c-2)", forget_atecc, note_trustx}}};
INSTANTIATE_TEST_SUITE_P(Chip, Detected, testing::ValuesIn(cases), [](const auto &c) { return c.param.name; });

TEST_F(ChipDetection, ALaterTrySuffices) {
    board.fit({.chip = "atecc608a"});
    const sim::Fault half_an_answer{.name = "ioctl", .has_result = true, .result = 1};
    EXPECT_EQ(with_fault(half_an_answer, detected), 1);
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
        size_t none = 0, one = 1;
        uint8_t byte = 0;
        EXPECT_EQ(tpm_read_slot(1, &byte, &none) + tpm_read_slot(1, nullptr, &one), 6);
        EXPECT_EQ(tpm_write_slot(1, &byte, 0) + tpm_write_slot(1, nullptr, 1), 6);
    });
    EXPECT_EQ(calls, Calls{});
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_is_config_locked(nullptr), 3); }).front(), ask_atecc) << "the exception";
}

}  // namespace
}  // namespace ostdrv::test
