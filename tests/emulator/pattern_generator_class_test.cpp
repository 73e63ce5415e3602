// Every pixel of every pattern, in the three pixel encodings, with regions of
// interest and binning, checked against the formulas in docs/emulator.md.
// Linked with the emulator's static core, so that the row cache can be
// checked from inside as well.

#include "pattern_generator_class.h"

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

// The documented formulas, in sensor coordinates (x, y), frame count f and bit depth b.
std::uint32_t expected_value(const std::string& pattern, std::uint64_t x, std::uint64_t y, std::uint64_t f,
                             int bits, std::uint32_t flat_value) {
    const std::uint64_t full = (1u << bits) - 1;
    if (pattern == "gradient") {
        return static_cast<std::uint32_t>((x + 3 * y + 7 * f) % (full + 1));
    }
    if (pattern == "checker") {
        return ((x / 8 + y / 8 + f) % 2) != 0 ? static_cast<std::uint32_t>(full) : 0;
    }
    if (pattern == "frame_count") {
        return static_cast<std::uint32_t>(f % (full + 1));
    }
    if (pattern == "moving_bars") {
        return static_cast<std::uint32_t>((x + 4 * f) % 64 * full / 63);
    }
    return flat_value;
}

TEST(pattern_generator_class, every_pixel_follows_the_formula) {
    const struct {
        std::string pattern;
        std::string packing;
        int bit_depth;
        std::string roi;  // empty: the whole sensor
        int hbin;
        int vbin;
    } cases[] = {{"gradient", "none", 12, "", 1, 1},
                 {"gradient", "12", 12, "", 1, 1},
                 {"gradient", "10", 10, "", 1, 1},
                 {"gradient", "none", 16, "", 1, 1},
                 {"gradient", "none", 8, "8 6 103 35", 2, 3},
                 {"gradient", "12", 12, "16 2 79 41", 4, 2},
                 {"gradient", "10", 10, "32 1 95 46", 2, 1},
                 {"checker", "none", 12, "", 1, 1},
                 {"checker", "12", 12, "", 2, 2},
                 {"checker", "10", 10, "4 3 67 10", 1, 2},
                 {"frame_count", "none", 8, "", 1, 1},
                 {"frame_count", "10", 10, "", 1, 1},
                 {"flat", "none", 12, "", 1, 1},
                 {"flat", "12", 12, "", 4, 4},
                 {"moving_bars", "none", 12, "", 1, 1},
                 {"moving_bars", "12", 12, "40 0 103 47", 2, 2},
                 {"moving_bars", "10", 10, "", 1, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern + " packing " + c.packing + " bits " + std::to_string(c.bit_depth) + " roi " +
                     c.roi + " bin " + std::to_string(c.hbin) + "x" + std::to_string(c.vbin));
        // 128 x 48 pixels: unpacked frames span one packet boundary.
        const emulated_camera camera(
            R"({"sensor_width":128,"sensor_height":48,"pacing":"fast","flat_value":77,)"
            R"("frame_count_start":4294967293,"bit_depth":)" +
            std::to_string(c.bit_depth) + R"(,"packing":")" + c.packing + R"(","pattern":")" + c.pattern +
            "\"}");
        if (!c.roi.empty()) {
            ASSERT_EQ(camera.command("roi " + c.roi), "Success");
        }
        ASSERT_EQ(camera.command("hbin " + std::to_string(c.hbin)), "Success");
        ASSERT_EQ(camera.command("vbin " + std::to_string(c.vbin)), "Success");
        const int width = std::stoi(camera.command("image_width"));
        const int height = std::stoi(camera.command("image_height"));
        int left = 0;
        int top = 0;
        std::sscanf(camera.command("roi").c_str(), "%d %d", &left, &top);
        ASSERT_EQ(camera.command("start"), "Success");
        // Five frames cross the 32-bit wrap of the frame count and reuse cached rows.
        for (int frame_number = 0; frame_number < 5; ++frame_number) {
            const auto frame = read_frame(camera.device, width, height, c.packing);
            const std::uint32_t f = frame.value_of(tag("FCNT"));
            EXPECT_EQ(f, 4294967293u + static_cast<std::uint32_t>(frame_number));
            EXPECT_EQ(frame.value_of(tag("IFMT")),
                      (c.packing == "none" ? 0u : 1u) | static_cast<std::uint32_t>(c.bit_depth) << 8);
            for (int j = 0; j < height; ++j) {
                for (int i = 0; i < width; ++i) {
                    // A binned pixel is the top-left sensor pixel of its bin.
                    const std::uint32_t expected =
                        expected_value(c.pattern, static_cast<std::uint64_t>(left + i * c.hbin),
                                       static_cast<std::uint64_t>(top + j * c.vbin), f, c.bit_depth, 77);
                    ASSERT_EQ(frame.pixels[static_cast<std::size_t>(j * width + i)], expected)
                        << "frame " << f << " pixel " << i << "," << j;
                }
            }
        }
    }
}

TEST(pattern_generator_class, packing_applies_only_at_its_bit_depth) {
    const emulated_camera camera(R"({"sensor_width":64,"sensor_height":8,"pacing":"fast","packing":"12"})");
    ASSERT_EQ(camera.command("pixel_bit_depth 8"), "Success");
    ASSERT_EQ(camera.command("start"), "Success");
    const auto frame = read_frame(camera.device, 64, 8, "none");
    EXPECT_EQ(frame.value_of(tag("IFMT")), 8u << 8);
    EXPECT_EQ(frame.pixels[63], (63 + 7 * 0xFFFFFFF0ull) % 256);
}

}  // namespace
}  // namespace qx::emulator::testing

namespace qx::emulator {
namespace {

std::vector<std::uint8_t> frame_bytes(pattern_generator_class& generator, const frame_format_class& format,
                                      std::uint32_t frame_count) {
    std::vector<const std::uint8_t*> rows;
    generator.plan_frame(format, frame_count, rows);
    std::vector<std::uint8_t> bytes;
    for (const auto* row : rows) {
        bytes.insert(bytes.end(), row, row + format.row_bytes());
    }
    return bytes;
}

// Rows beyond the cache's bound are made for each frame; they must equal cached ones.
TEST(pattern_generator_class, rows_beyond_the_cache_bound_are_the_same) {
    frame_format_class format;
    format.width = 64;
    format.height = 48;
    format.hbin = 2;
    format.bit_depth = 16;
    format.pattern = pattern_kind::gradient;
    pattern_generator_class unbounded;
    pattern_generator_class bounded(10 * format.row_bytes());
    for (const std::uint32_t frame : {0u, 1u, 0u, 77u}) {
        EXPECT_EQ(frame_bytes(bounded, format, frame), frame_bytes(unbounded, format, frame))
            << "frame " << frame;
    }
}

}  // namespace
}  // namespace qx::emulator
