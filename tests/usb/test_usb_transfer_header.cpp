// The request header handed to the Cypress USB driver, byte for byte, and
// the driver's speed codes. The field layout itself is fixed at compile time
// beside the structure.

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "usb/cypress_driver_protocol.h"
#include "usb/usb_transfer_header.h"

namespace {

using qx::usb::T_USB_TRANSFER_HEADER_STRUCT_PACKED;
using header_bytes = std::array<unsigned char, qx::usb::transfer_header_size>;

header_bytes bytes_of(const T_USB_TRANSFER_HEADER_STRUCT_PACKED& header) {
    header_bytes bytes{};
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

TEST(usb_transfer_header, bulk_transfer_names_endpoint_and_data_after_the_header) {
    // Image channel IN 0x83, 16,384 bytes of data behind the 38-byte header.
    header_bytes expected{};
    expected[13] = 0x83;
    expected[30] = 38;
    expected[34] = 0x00;
    expected[35] = 0x40;
    EXPECT_EQ(bytes_of(qx::usb::bulk_transfer_header(0x83, 16384)), expected);

    // Command channel OUT 0x02 carrying a 7-byte command.
    expected = {};
    expected[13] = 0x02;
    expected[30] = 38;
    expected[34] = 7;
    EXPECT_EQ(bytes_of(qx::usb::bulk_transfer_header(0x02, 7)), expected);
}

TEST(usb_transfer_header, endpoint_status_request_is_a_get_status_to_the_endpoint) {
    for (const unsigned char endpoint : {0x02, 0x82, 0x83}) {
        SCOPED_TRACE(static_cast<int>(endpoint));
        header_bytes expected{};
        expected[0] = 0x82;      // device to host, standard, recipient endpoint
        expected[1] = 0;         // GET_STATUS
        expected[4] = endpoint;  // index: the endpoint asked about
        expected[6] = 2;         // two status bytes
        expected[8] = 5;         // control time-out
        expected[13] = 0;        // a control request names no endpoint here
        expected[30] = 38;
        expected[34] = 2;
        EXPECT_EQ(bytes_of(qx::usb::endpoint_status_request(endpoint)), expected);
    }
}

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
