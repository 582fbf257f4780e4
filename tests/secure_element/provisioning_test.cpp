#include <cstring>

#include "secure_element/chips.hpp"

namespace ostdrv::test {
namespace {

TEST(ChipTables, AreRightToTheByte) {
    EXPECT_EQ(hex_digest(tpm_config_data, 128), "78e846beca0ac6311e7dda87f014389f89dd1ca04df89f457dbfdaa9ffffdfb6");
    EXPECT_EQ(hex_digest(trustx_slots, 8 * sizeof(tpm_trustx_slot)),
              "79dfee4ecef505c6f4e30a619c9c1deb2fe89326d95779764109cda15c607e7e");
    EXPECT_EQ(hex_digest(&tpm_iface_config_i2c, 88),
              "cd46b72912a92e2e85153e8ef00a4e4f83d92bc0d986b00348fc4ebe0126c66e");
    EXPECT_EQ(hex_digest(&tpm_iface_config_hid, 88),
              "e0d36806dec28ce7a87f14c917edc25cce653f0be92241e52dbce78c4e97e7a5");
    EXPECT_EQ(g_atca_iface_cfg, nullptr);
}

class Provisioning : public Atecc, public testing::WithParamInterface<const char *> {
    void SetUp() override { fit(GetParam()); }
};

TEST_P(Provisioning, ABlankChipGetsTheImageOfItsModel) {
    const bool is_508a = std::string(GetParam()) == "atecc508a";
    for (const int i : {18, 68, 83, 90, 91}) tpm_config_data[i] = 0x77;
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_init_config(nullptr), 0); }),
              (Calls{"atcab_is_locked(0)", "atcab_is_locked(1)", "atcab_get_device_type()", "atcab_write_config_zone()",
                     "atcab_lock_config_zone()", "atcab_lock_data_zone()"}));
    EXPECT_EQ(tpm_config_data[18], is_508a ? 0x55 : 0x00);
    EXPECT_EQ(tpm_config_data[68], is_508a ? 0xFF : 0x77);
    EXPECT_EQ(tpm_config_data[83], is_508a ? 0xFF : 0x77);
    EXPECT_EQ(tpm_config_data[90] | tpm_config_data[91], 0);
    EXPECT_EQ(std::memcmp(inspect<AteccState>().config.data() + 20, tpm_config_data + 20, 32), 0);
    EXPECT_EQ(calls_of([] { EXPECT_EQ(tpm_init_config(nullptr), 0); }).size(), 2u) << "nothing left to do";
}

INSTANTIATE_TEST_SUITE_P(Models, Provisioning, testing::Values("atecc508a", "atecc608a"),
                         [](const auto &model) { return model.param; });

TEST_F(Atecc, ACallersImageIsWrittenAsItIs) {
    uint8_t image[128];
    std::memcpy(image, tpm_config_data, 128);
    image[18] = 0x33;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(tpm_init_config(image), 0); })[2], "atcab_write_config_zone()");
    EXPECT_EQ(inspect<AteccState>().config[18], 0x33);
}

TEST_F(Atecc, AnInterruptedProvisioningIsFinishedByTheNextCall) {
    const auto provision = [] { return tpm_init_config(nullptr); };
    EXPECT_EQ(with_fault({.name = "atcab_lock_config_zone"}, provision), 2);
    EXPECT_EQ(with_fault({.name = "atcab_lock_data_zone"}, provision), 2) << "written and locked anew";
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(provision(), 0); }),
              (Calls{"atcab_is_locked(0)", "atcab_is_locked(1)", "atcab_lock_data_zone()"}));
}

TEST_F(Atecc, AnUnknownModelIsLeftAlone) {
    const auto before = inspect<AteccState>();
    const auto provision = [] { return tpm_init_config(nullptr); };
    EXPECT_EQ(with_fault({.name = "atcab_get_device_type", .has_result = true, .result = 4}, provision), 7);
    EXPECT_EQ(inspect<AteccState>(), before);
}

}  // namespace
}  // namespace ostdrv::test
