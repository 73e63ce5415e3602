// Packed pixel streams: the fast unpacking gives exactly the bits of the
// scalar definition, on random data and at every length.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "device_qv/pixel_unpacking.h"

namespace {

using namespace qx::device_qv;

TEST(pixel_unpacking, twelve_bit_reference_example) {
    const std::uint8_t packed[] = {0x21, 0x43, 0x65, 0x87, 0xA9, 0xCB};
    std::uint16_t pixels[4] = {};
    unpack_12bit(packed, pixels, 1);
    EXPECT_EQ(pixels[0], 0x321);
    EXPECT_EQ(pixels[1], 0x654);
    EXPECT_EQ(pixels[2], 0x987);
    EXPECT_EQ(pixels[3], 0xCBA);
}

TEST(pixel_unpacking, ten_bit_reference_example) {
    // Pixels 0x3FF, 0x001, 0x2AA, 0x155 packed at bits 0, 10, 20, 30.
    const std::uint64_t group = 0x3FFull | (0x001ull << 10) | (0x2AAull << 20) | (0x155ull << 30);
    std::uint8_t packed[5];
    for (int byte = 0; byte < 5; ++byte) packed[byte] = static_cast<std::uint8_t>(group >> (8 * byte));
    std::uint16_t pixels[4] = {};
    unpack_10bit(packed, pixels, 1);
    EXPECT_EQ(pixels[0], 0x3FF);
    EXPECT_EQ(pixels[1], 0x001);
    EXPECT_EQ(pixels[2], 0x2AA);
    EXPECT_EQ(pixels[3], 0x155);
}

TEST(pixel_unpacking, fast_paths_match_the_scalar_definition_on_random_data) {
    std::mt19937 random(20261121);
    std::uniform_int_distribution<int> byte(0, 255);
    // Every length from 0 to 67 groups exercises the vector body and the tail.
    for (std::size_t groups = 0; groups < 68; ++groups) {
        for (const bool twelve : {true, false}) {
            const std::size_t bytes_per_group = twelve ? 6 : 5;
            std::vector<std::uint8_t> packed(groups * bytes_per_group);
            for (auto& value : packed) value = static_cast<std::uint8_t>(byte(random));
            std::vector<std::uint16_t> expected(groups * 4 + 1, 0xBEEF);
            std::vector<std::uint16_t> actual(groups * 4 + 1, 0xBEEF);
            if (twelve) {
                unpack_12bit_scalar(packed.data(), expected.data(), groups);
                unpack_12bit(packed.data(), actual.data(), groups);
            } else {
                unpack_10bit_scalar(packed.data(), expected.data(), groups);
                unpack_10bit(packed.data(), actual.data(), groups);
            }
            ASSERT_EQ(actual, expected) << (twelve ? "12-bit" : "10-bit") << ", " << groups << " groups, "
                                        << unpacking_implementation_name();
        }
    }
}

TEST(pixel_unpacking, fast_paths_match_on_a_whole_frame) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> byte(0, 255);
    constexpr std::size_t groups = 2448 * 2048 / 4;
    std::vector<std::uint8_t> packed(groups * 6);
    for (auto& value : packed) value = static_cast<std::uint8_t>(byte(random));
    std::vector<std::uint16_t> expected(groups * 4);
    std::vector<std::uint16_t> actual(groups * 4);
    unpack_12bit_scalar(packed.data(), expected.data(), groups);
    unpack_12bit(packed.data(), actual.data(), groups);
    EXPECT_EQ(actual, expected);
    unpack_10bit_scalar(packed.data(), expected.data(), groups);
    unpack_10bit(packed.data(), actual.data(), groups);
    EXPECT_EQ(actual, expected);
}

}  // namespace
