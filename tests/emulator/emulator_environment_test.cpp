// QX_EMULATED_CAMERAS (set to 2 for this test program) is read on first use.

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

TEST(emulator_environment, the_variable_configures_the_first_set) {
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 2);
    // A reset replaces the set; the variable is not read again.
    ASSERT_EQ(qx_emu_reset("1"), QX_EMU_OK);
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 1);
}

}  // namespace
}  // namespace qx::emulator::testing
