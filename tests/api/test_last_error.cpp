// The per-thread last error and the texts of the status codes.

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "api/last_error.h"
#include "base/status_codes.h"

namespace {

using qx::api::last_error_text;
using qx::api::set_last_error;

struct composed_case {
    int code;
    const char* message;
    std::string expected;
};

TEST(last_error, composes_message_blank_and_code_text_cut_to_255_characters) {
    const std::string too_long(400, 'a');
    // Its composed text is exactly 255 characters, and so is kept whole.
    const std::string fits(255 - std::string(" Error: Invalid operation.").size(), 'b');
    const composed_case cases[] = {
        // Codes 1001, 1003 and 1004 are read through the exported functions
        // by the call-frame tests.
        {1000, "m", "m No error"},
        {0, "m", "m No error"},
        {2, "m", "m Error: Too many internal functions requested"},
        {17, "",
         " Error: USB transfer memory limit reached. On Linux platforms, raise your usbfs_memory_mb "
         "parameter. "
         "See SDK README for more information."},
        {16, "m", "m Error: Invalid pointer"},
        {1005, "m", "m Error: Firmware-reported error."},
        {1006, "m", "m Error: Unknown."},
        {5000, "m", "m Error: Unknown."},
        {18, "m", "m Error: Unknown."},
        {-1, "m", "m Error: Unknown."},
        {1004, nullptr, " Error: Invalid operation."},
        {1004, too_long.c_str(), std::string(255, 'a')},
        {1004, fits.c_str(), fits + " Error: Invalid operation."},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(set_last_error(entry.code, entry.message), entry.code);
        EXPECT_EQ(std::string(last_error_text()), entry.expected) << "code " << entry.code;
    }
}

TEST(last_error, each_thread_sees_only_its_own_failures) {
    set_last_error(1004, "main thread failure");
    std::string seen_fresh;
    std::string seen_after;
    std::thread other([&] {
        seen_fresh = last_error_text();
        set_last_error(1001, "other thread failure");
        seen_after = last_error_text();
    });
    other.join();
    EXPECT_EQ(seen_fresh, "");
    EXPECT_EQ(seen_after, "other thread failure Error: Insufficient buffer size.");
    EXPECT_EQ(std::string(last_error_text()), "main thread failure Error: Invalid operation.");
}

}  // namespace
