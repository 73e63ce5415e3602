// Device paths are compared as whole texts between the hot-plug monitor and
// enumeration, so every character of the form matters.

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "usb/usb_device_path.h"

namespace {

TEST(usb_device_path, formats_bus_port_chain_and_ids) {
    const struct {
        std::uint8_t bus;
        std::vector<std::uint8_t> ports;
        std::uint16_t vendor_id;
        std::uint16_t product_id;
        const char* expected;
    } rows[] = {
        {3, {1, 4}, 0x2A7C, 0x6101, "USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101"},
        // hex digits are upper case and padded to four
        {1, {2}, 0x0abc, 0x00ef, "USB:BUS_001:PORT_2:VID_0ABC&PID_00EF"},
        // the longest chain USB allows, multi-digit ports, largest bus
        {255, {1, 2, 3, 4, 5, 6, 15}, 0xFFFF, 0x0000, "USB:BUS_255:PORT_1.2.3.4.5.6.15:VID_FFFF&PID_0000"},
        // a root hub has no port chain
        {2, {}, 0x1D6B, 0x0003, "USB:BUS_002:PORT_0:VID_1D6B&PID_0003"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qx::format_usb_device_path(row.bus, row.ports, row.vendor_id, row.product_id),
                  row.expected);
}

TEST(usb_device_path, reads_the_ids_back_from_a_path) {
    const struct {
        const char* path;
        const char* marker;
        std::optional<std::uint32_t> id;
    } cases[] = {
        {"USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101", "VID_", 0x2A7C},
        {"USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101", "PID_", 0x6101},
        // a Windows interface path, upper-cased
        {"\\\\?\\USB#VID_2A7C&PID_611E#0001#{AE18AA60-7F6A-11D4-97DD-00010229B959}", "PID_", 0x611E},
        // reading stops at the first character that is not a hex digit
        {"VID_2A&PID_1", "VID_", 0x2A},
        {"PID_", "PID_", 0},
        // at most four digits
        {"VID_123456", "VID_", 0x1234},
        // lower case is not read: paths are upper-cased first
        {"VID_2a7c", "VID_", 0x2},
        {"USB:BUS_003:PORT_1", "VID_", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(qx::usb_id_after(c.path, c.marker), c.id) << c.path << " " << c.marker;
    }
}

}  // namespace
