#pragma once
// The request header that the Cypress USB driver expects in front of every
// transfer buffer it is handed: 38 packed little-endian bytes, followed by
// the data. Portable on purpose (no Windows headers), so that its layout is
// checked on every platform that builds the kit.

#include <cstddef>
#include <cstdint>

namespace qx::usb {

#pragma pack(push, 1)
struct T_USB_TRANSFER_HEADER_STRUCT_PACKED {
    std::uint8_t request_type;     // control requests only; 0 for bulk
    std::uint8_t request_code;     // control requests only
    std::uint16_t value;           // control requests only
    std::uint16_t index;           // control requests only: the endpoint asked about
    std::uint16_t control_length;  // length of the control data stage
    std::uint32_t control_timeout;
    std::uint8_t reserved;
    std::uint8_t endpoint_address;   // endpoint number, plus 0x80 for IN; 0 for control
    std::uint32_t driver_fields[4];  // the driver's own, 0 on submission
    std::uint32_t data_offset;       // from the start of the header
    std::uint32_t data_length;
};
#pragma pack(pop)

inline constexpr std::uint32_t transfer_header_size = 38;

// The driver reads these offsets; the compiler holds the layout to them.
static_assert(sizeof(T_USB_TRANSFER_HEADER_STRUCT_PACKED) == transfer_header_size);
static_assert(alignof(T_USB_TRANSFER_HEADER_STRUCT_PACKED) == 1);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, request_type) == 0);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, request_code) == 1);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, value) == 2);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, index) == 4);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, control_length) == 6);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, control_timeout) == 8);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, reserved) == 12);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, endpoint_address) == 13);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, driver_fields) == 14);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, data_offset) == 30);
static_assert(offsetof(T_USB_TRANSFER_HEADER_STRUCT_PACKED, data_length) == 34);

// The time-out the module writes into every control request.
inline constexpr std::uint32_t control_request_timeout = 5;
// GET_STATUS: device to host, standard, recipient endpoint; request 0.
inline constexpr std::uint8_t endpoint_status_request_type = 0x82;
inline constexpr std::uint8_t get_status_request_code = 0;
// An endpoint's status is two bytes; a 1 in the first marks a halt.
inline constexpr std::uint16_t endpoint_status_length = 2;

// The header of a bulk transfer of `data_length` bytes on an endpoint.
inline constexpr T_USB_TRANSFER_HEADER_STRUCT_PACKED bulk_transfer_header(std::uint8_t endpoint_address,
                                                                          std::uint32_t data_length) {
    T_USB_TRANSFER_HEADER_STRUCT_PACKED header{};
    header.endpoint_address = endpoint_address;
    header.data_offset = transfer_header_size;
    header.data_length = data_length;
    return header;
}

// The control request that asks an endpoint whether it is halted.
inline constexpr T_USB_TRANSFER_HEADER_STRUCT_PACKED endpoint_status_request(std::uint8_t endpoint_address) {
    T_USB_TRANSFER_HEADER_STRUCT_PACKED header = bulk_transfer_header(0, endpoint_status_length);
    header.request_type = endpoint_status_request_type;
    header.request_code = get_status_request_code;
    header.index = endpoint_address;
    header.control_length = endpoint_status_length;
    header.control_timeout = control_request_timeout;
    return header;
}

}  // namespace qx::usb
