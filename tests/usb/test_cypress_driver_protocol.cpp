// The Cypress driver's speed codes. The request headers the transport hands
// the driver are checked field by field by the simulated driver the Windows
// tests run against.

#include <gtest/gtest.h>

#include "usb/cypress_driver_protocol.h"

namespace {

TEST(cypress_driver_protocol, speed_codes_map_to_texts_and_others_are_unknown) {
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {0, "UNKNOWN"}, {1, "USB 1.0"}, {2, "USB 2.0"},          {3, "UNKNOWN"},
        {4, "USB 3.0"}, {5, "UNKNOWN"}, {0xFFFFFFFF, "UNKNOWN"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(qx::usb::cypress::usb_speed_text(c.code), c.text) << c.code;
    }
}

}  // namespace
