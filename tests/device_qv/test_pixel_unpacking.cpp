// Packed pixel streams: the fast unpacking gives exactly the bits of the
// scalar definition, on random data and at every length. That the pixels are
// the camera's is checked pixel by pixel on packed 12- and 10-bit frames by
// the acquisition tests.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "device_qv/pixel_unpacking.h"

namespace {

using namespace qx::device_qv;

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

}  // namespace
