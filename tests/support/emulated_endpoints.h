#pragma once
// The camera's bulk endpoints as the emulator serves them, for the doubles
// that put the emulator behind a USB-level interface (the usbfs node and the
// Windows driver): which addresses exist and one transfer on each.

#include <cstddef>

#include "quendral_vko_camera_emulator.h"

namespace qx::test {

inline constexpr unsigned char camera_endpoints[] = {QX_EMU_ENDPOINT_COMMAND_OUT, QX_EMU_ENDPOINT_COMMAND_IN,
                                                     QX_EMU_ENDPOINT_IMAGE_IN};
inline constexpr std::size_t camera_endpoint_count = std::size(camera_endpoints);

// The index of a camera endpoint in camera_endpoints; -1 for any other address.
inline int camera_endpoint_index(unsigned endpoint) {
    for (std::size_t index = 0; index < camera_endpoint_count; ++index) {
        if (camera_endpoints[index] == endpoint)
            return static_cast<int>(index);
    }
    return -1;
}

// One transfer's emulator status and the bytes it moved (none unless QX_EMU_OK).
struct endpoint_transfer {
    int status = QX_EMU_OK;
    std::size_t bytes = 0;
};

// Moves one transfer on a camera endpoint through the emulator: a command
// out, a reply in, or an image packet in (which needs room for a whole one).
inline endpoint_transfer transfer_on_endpoint(qx_emu_device* device, unsigned char endpoint, void* buffer,
                                              std::size_t length, unsigned timeout_ms) {
    endpoint_transfer done;
    switch (endpoint) {
        case QX_EMU_ENDPOINT_COMMAND_OUT:
            done.status = qx_emu_device_write(device, buffer, length, timeout_ms);
            done.bytes = length;
            break;
        case QX_EMU_ENDPOINT_COMMAND_IN:
            done.status = qx_emu_device_read(device, buffer, length, &done.bytes, timeout_ms);
            break;
        case QX_EMU_ENDPOINT_IMAGE_IN:
            done.status = length < QX_EMU_PACKET_SIZE ? QX_EMU_INVALID
                                                      : qx_emu_device_read_packet(device, buffer, timeout_ms);
            done.bytes = QX_EMU_PACKET_SIZE;
            break;
        default:
            done.status = QX_EMU_INVALID;
    }
    if (done.status != QX_EMU_OK)
        done.bytes = 0;
    return done;
}

}  // namespace qx::test
