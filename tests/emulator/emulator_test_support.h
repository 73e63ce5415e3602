#pragma once
// Helpers for the emulator tests: a camera opened through the C interface,
// command round trips, and an independent decoder of the image stream.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "quendral_vko_camera_emulator.h"
#include "support/emulated_camera_fixture.h"

namespace qx::emulator::testing {

/** A small, fast camera; @p extra_keys are added to its JSON object. */
inline std::string small_camera_json(const std::string& extra_keys = "") {
    return R"({"sensor_width":64,"sensor_height":8,"pacing":"fast")" +
           (extra_keys.empty() ? std::string() : "," + extra_keys) + "}";
}

/** One camera opened on its device interface, as the other tests use it. */
using qx::test::emulated_camera;

inline std::uint32_t word_at(const std::uint8_t* bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(bytes[offset]) | static_cast<std::uint32_t>(bytes[offset + 1]) << 8 |
           static_cast<std::uint32_t>(bytes[offset + 2]) << 16 |
           static_cast<std::uint32_t>(bytes[offset + 3]) << 24;
}

inline std::uint32_t tag(const char (&text)[5]) {
    return word_at(reinterpret_cast<const std::uint8_t*>(text), 0);
}

/** One packet as read from the image endpoint. */
struct packet {
    int status = 0;
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(QX_EMU_PACKET_SIZE);
    std::uint32_t header() const { return word_at(bytes.data(), 0); }
};

inline packet read_packet(qx_emu_device* device, unsigned int timeout_ms = 200) {
    packet result;
    result.status = qx_emu_device_read_packet(device, result.bytes.data(), timeout_ms);
    return result;
}

/** A frame reassembled from its packets and decoded by the documented stream format. */
struct decoded_frame {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> metadata;  // tag/value pairs, "VKO\0" first
    std::vector<std::uint8_t> payload;                              // every payload byte, padding included
    std::vector<std::uint16_t> pixels;

    std::uint32_t value_of(std::uint32_t wanted) const {
        for (const auto& [key, value] : metadata) {
            if (key == wanted) {
                return value;
            }
        }
        ADD_FAILURE() << "tag missing from the metadata";
        return 0;
    }
};

/** Pixel bytes in the stream for @p count pixels of an encoding ("none", "12", "10"). */
inline std::size_t stream_pixel_bytes(std::size_t count, const std::string& packing) {
    return packing == "12" ? count * 3 / 2 : packing == "10" ? count * 5 / 4 : count * 2;
}

/** Decodes pixels following the stream's packing rules, independently of the emulator's encoder. */
inline std::vector<std::uint16_t> decode_pixels(const std::uint8_t* bytes, std::size_t count,
                                                const std::string& packing) {
    std::vector<std::uint16_t> pixels(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (packing == "12") {
            const std::uint8_t* pair = bytes + i / 2 * 3;
            pixels[i] = static_cast<std::uint16_t>(i % 2 == 0 ? pair[0] | (pair[1] & 0x0F) << 8
                                                              : pair[1] >> 4 | pair[2] << 4);
        } else if (packing == "10") {
            const std::uint8_t* group = bytes + i / 4 * 5;
            std::uint64_t bits = 0;
            for (int b = 4; b >= 0; --b) {
                bits = bits << 8 | group[b];
            }
            pixels[i] = static_cast<std::uint16_t>(bits >> (10 * (i % 4)) & 0x3FF);
        } else {
            pixels[i] = static_cast<std::uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
        }
    }
    return pixels;
}

/**
 * Reads one whole frame of @p width x @p height pixels, checking on the way
 * that the first header is 0x9090 and the next ones carry 1, 2, 3 ...
 */
inline decoded_frame read_frame(qx_emu_device* device, int width, int height,
                                const std::string& packing = "none") {
    decoded_frame frame;
    const std::size_t pixel_bytes = stream_pixel_bytes(static_cast<std::size_t>(width) * height, packing);
    const std::size_t packets = (56 + pixel_bytes + 16379) / 16380;
    for (std::size_t i = 0; i < packets; ++i) {
        const auto next = read_packet(device);
        EXPECT_EQ(next.status, QX_EMU_OK) << qx_emu_get_last_error();
        if (next.status != QX_EMU_OK) {
            return frame;
        }
        EXPECT_EQ(next.header(), i == 0 ? 0x00009090u : static_cast<std::uint32_t>(i) << 16)
            << "packet " << i;
        frame.payload.insert(frame.payload.end(), next.bytes.begin() + 4, next.bytes.end());
    }
    for (std::size_t offset = 0; offset < 56; offset += 8) {
        frame.metadata.emplace_back(word_at(frame.payload.data(), offset),
                                    word_at(frame.payload.data(), offset + 4));
    }
    frame.pixels =
        decode_pixels(frame.payload.data() + 56, static_cast<std::size_t>(width) * height, packing);
    return frame;
}

}  // namespace qx::emulator::testing
