// The request header handed to the Cypress USB driver, byte for byte, and
// the driver's speed codes.

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

#define FIELD(name)                                                 \
    {                                                               \
#name, offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, name), \
            sizeof(T_USB_TRANSFER_HEADER_STRUCT_PACKED::name)       \
    }

struct field_place {
    const char* name;
    std::size_t offset;
    std::size_t size;
};

TEST(usb_transfer_header, fields_sit_where_the_driver_reads_them) {
    // The driver's wire format: offset and size of every field.
    const field_place expected[] = {
        {"request_type", 0, 1}, {"request_code", 1, 1},      {"value", 2, 2},
        {"index", 4, 2},        {"control_length", 6, 2},    {"control_timeout", 8, 4},
        {"reserved", 12, 1},    {"endpoint_address", 13, 1}, {"driver_fields", 14, 16},
        {"data_offset", 30, 4}, {"data_length", 34, 4},
    };
    const field_place actual[] = {
        FIELD(request_type),   FIELD(request_code),    FIELD(value),       FIELD(index),
        FIELD(control_length), FIELD(control_timeout), FIELD(reserved),    FIELD(endpoint_address),
        FIELD(driver_fields),  FIELD(data_offset),     FIELD(data_length),
    };
    ASSERT_EQ(std::size(expected), std::size(actual));
    for (std::size_t index = 0; index < std::size(expected); ++index) {
        SCOPED_TRACE(expected[index].name);
        EXPECT_STREQ(actual[index].name, expected[index].name);
        EXPECT_EQ(actual[index].offset, expected[index].offset);
        EXPECT_EQ(actual[index].size, expected[index].size);
    }
    EXPECT_EQ(sizeof(T_USB_TRANSFER_HEADER_STRUCT_PACKED), 38u);
    EXPECT_EQ(alignof(T_USB_TRANSFER_HEADER_STRUCT_PACKED), 1u);
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
