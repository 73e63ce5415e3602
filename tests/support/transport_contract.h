#pragma once
// Checks of the contract every transport keeps, whichever link is behind it
// (libusb, the Cypress driver, the emulator): run by each transport's tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "usb/usb_driver_base.h"

namespace qx::test {

// A command's reply read with a smaller length still fills the whole
// command transfer.
inline void expect_whole_reply_transfer(usb::usb_driver_base& transport, const std::string& command,
                                        const std::string& reply) {
    SCOPED_TRACE(command);
    bool timed_out = true, failed = true, stalled = true;
    transport.write(static_cast<std::uint32_t>(command.size() + 1), command.c_str(), 5000, timed_out,
                    stalled);
    ASSERT_FALSE(timed_out || stalled);
    std::vector<unsigned char> bytes(usb::command_transfer_size, 0xAA);
    transport.read__blocking(4, bytes.data(), 5000, timed_out, failed, stalled);
    ASSERT_FALSE(timed_out || failed || stalled);
    EXPECT_EQ(reinterpret_cast<const char*>(bytes.data()), reply);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xAA), 0) << "the whole transfer was copied";
}

// A wake before an image read ends it, and so does one during it from
// another thread: as a time-out, long before the read's own time-out.
inline void expect_a_wake_ends_image_reads(usb::usb_driver_base& transport) {
    std::vector<unsigned char> packet(usb::image_transfer_size);
    const auto read_woken = [&] {
        bool timed_out = false, failed = false, stalled = false;
        transport.read_image_data(packet.data(), 600000, timed_out, failed, stalled);
        return timed_out && !failed && !stalled;
    };
    transport.wake_image_reader();
    EXPECT_TRUE(read_woken()) << "woken before the read";
    bool woken_while_waiting = false;
    std::thread reader([&] { woken_while_waiting = read_woken(); });
    transport.wake_image_reader();
    reader.join();
    EXPECT_TRUE(woken_while_waiting);
}

}  // namespace qx::test
