#pragma once
// The camera's bulk endpoints as the emulator serves them, for the doubles
// that put it behind a USB-level interface (usbfs, the Windows driver).

#include <cstddef>
#include <iterator>

#include "quendral_vko_camera_emulator.h"

namespace qx::test {

inline constexpr unsigned char camera_endpoints[] = {QX_EMU_ENDPOINT_COMMAND_OUT, QX_EMU_ENDPOINT_COMMAND_IN,
                                                     QX_EMU_ENDPOINT_IMAGE_IN};
inline constexpr std::size_t camera_endpoint_count = std::size(camera_endpoints);

// The index of a camera endpoint in camera_endpoints; -1 for another address.
inline int camera_endpoint_index(unsigned endpoint) {
    for (std::size_t index = 0; index < camera_endpoint_count; ++index) {
        if (camera_endpoints[index] == endpoint)
            return static_cast<int>(index);
    }
    return -1;
}

struct endpoint_transfer {
    int status = QX_EMU_INVALID;
    std::size_t bytes = 0;  // none unless the status is QX_EMU_OK
};

// One transfer through the emulator: a command out, a reply in, or an image
// packet in (refused unless the buffer holds a whole one).
inline endpoint_transfer transfer_on_endpoint(qx_emu_device* device, unsigned char endpoint, void* buffer,
                                              std::size_t length, unsigned timeout_ms) {
    endpoint_transfer done;
    if (endpoint == QX_EMU_ENDPOINT_COMMAND_OUT) {
        done = {qx_emu_device_write(device, buffer, length, timeout_ms), length};
    } else if (endpoint == QX_EMU_ENDPOINT_COMMAND_IN) {
        done.status = qx_emu_device_read(device, buffer, length, &done.bytes, timeout_ms);
    } else if (endpoint == QX_EMU_ENDPOINT_IMAGE_IN && length >= QX_EMU_PACKET_SIZE) {
        done = {qx_emu_device_read_packet(device, buffer, timeout_ms), QX_EMU_PACKET_SIZE};
    }
    if (done.status != QX_EMU_OK)
        done.bytes = 0;
    return done;
}

}  // namespace qx::test
