// Column balancing: tables read from the camera, cut and binned to the
// region, and applied to every pixel.

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "device_qv/qv_camera_class.h"
#include "support/emulated_camera_fixture.h"
#include "usb/emulated_fx3_class.h"

namespace {

using qx::device_qv::column_balancing_class;
using qx::device_qv::corrected_pixel;
using qx::device_qv::qv_camera_class;

// Five tables for gain settings 0..4 over a 64-column sensor.
std::string camera_with_tables(const std::string& extra = "") {
    return qx::test::small_camera_json(
        "CB-1", "SER-CB",
        R"("gain_min":0,"gain_max":4,"column_gains":[{"ramp":[0.5,1.5]},{"constant":2.0},{"constant":0.25},)"
        R"({"ramp":[1.0,-1.0]},{"constant":1.0}])" +
            (extra.empty() ? "" : "," + extra));
}

// The factor the emulator's ramp gives column c of 64: first + (last - first) * c / 63.
float ramp(float first, float last, int column) {
    return static_cast<float>(first + (static_cast<double>(last) - first) * column / 63);
}

class column_balancing : public ::testing::Test {
  protected:
    std::string open(const std::string& camera_json) {
        qx::test::configure_emulator(R"({"cameras":[)" + camera_json + "]}");
        transport = std::make_unique<qx::usb::emulated_fx3_class>(qx::test::emulated_path());
        try {
            camera = std::make_unique<qv_camera_class>(transport.get());
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    }
    void send(const std::string& command) {
        char reply[1024] = {};
        camera->send_command(command.c_str(), static_cast<std::uint32_t>(command.size() + 1), reply,
                             sizeof reply);
    }

    std::unique_ptr<qx::usb::emulated_fx3_class> transport;
    std::unique_ptr<qv_camera_class> camera;
};

TEST_F(column_balancing, tables_are_read_bit_exact_for_every_gain_set) {
    ASSERT_EQ(open(camera_with_tables()), "");
    const auto& tables = camera->column_balancing;
    EXPECT_TRUE(tables.enabled);
    EXPECT_TRUE(tables.tables_loaded);
    EXPECT_EQ(tables.gain_max(), 4);
    EXPECT_EQ(tables.loaded_table_width(), 64);
    for (int column = 0; column < 64; ++column) {
        EXPECT_EQ(tables.loaded_entry(0, column), ramp(0.5f, 1.5f, column)) << column;
        EXPECT_EQ(tables.loaded_entry(1, column), 2.0f);
        EXPECT_EQ(tables.loaded_entry(2, column), 0.25f);
        EXPECT_EQ(tables.loaded_entry(3, column), ramp(1.0f, -1.0f, column)) << column;
    }
}

TEST_F(column_balancing, implausible_table_dimensions_refuse_the_camera) {
    EXPECT_EQ(open(camera_with_tables(R"("replies":{"image_width.max":"4096"})")), "Width is out of range.");
    EXPECT_EQ(open(camera_with_tables(R"("replies":{"image_width.max":"0"})")), "Width is out of range.");
    EXPECT_EQ(open(camera_with_tables(R"("replies":{"gain.max":"64"})")), "Maximum gain is out of range.");
    EXPECT_EQ(open(camera_with_tables(R"("replies":{"gain.max":"0"})")), "Maximum gain is out of range.");
}

// Cutting to a region alone is checked pixel by pixel by the acquisition
// tests' column-balanced frames; here the region is binned as well.
TEST_F(column_balancing, adaptation_cuts_to_the_region_and_averages_bins) {
    ASSERT_EQ(open(camera_with_tables()), "");
    qx::platform::scoped_lock_class guard(camera->command_mutex());
    send("roi 8 0 39 7");
    send("hbin 2");
    camera->column_balancing.adapt_tables(*camera, camera->cached_gain);
    EXPECT_EQ(camera->column_balancing.column_correction_max(), 16);
    for (int column = 0; column < 16; ++column) {
        const float sum = ramp(0.5f, 1.5f, 8 + 2 * column) + ramp(0.5f, 1.5f, 9 + 2 * column);
        EXPECT_EQ(camera->column_balancing.working_entry(0, column), sum / 2.0f) << column;
    }
}

TEST_F(column_balancing, adaptation_refuses_a_gain_beyond_the_tables) {
    ASSERT_EQ(open(camera_with_tables(R"("replies":{"gain":"5"})")), "");
    qx::platform::scoped_lock_class guard(camera->command_mutex());
    try {
        camera->column_balancing.adapt_tables(*camera, camera->cached_gain);
        ADD_FAILURE() << "gain 5 was accepted";
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "Gain out of range.");
    }
}

TEST(corrected_pixel, truncates_and_clamps_at_ten_bit_full_scale) {
    const struct {
        std::uint16_t pixel;
        float factor;
        std::uint16_t expected;
    } cases[] = {
        {1000, 1.1f, 1023},
        {1000, 0.5f, 500},
        {1000, -0.5f, 1023},
        {999, 1.0f, 999},
        {1023, 1.0f, 1023},
        {1024, 1.0f, 1023},
        {3, 0.9f, 2},
        {0, 100.0f, 0},
        {65535, 1e30f, 1023},
        {100, std::numeric_limits<float>::quiet_NaN(), 1023},
        {100, std::numeric_limits<float>::infinity(), 1023},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(corrected_pixel(entry.pixel, entry.factor), entry.expected)
            << entry.pixel << " x " << entry.factor;
    }
}

TEST(column_correction, the_fast_path_gives_the_bits_of_the_scalar_definition) {
    std::mt19937 random(42);
    std::uniform_int_distribution<int> pixel(0, 65535);
    std::uniform_real_distribution<float> factor(-3.0f, 3.0f);
    const float specials[] = {0.0f,
                              -0.0f,
                              1.0f,
                              1e20f,
                              -1e20f,
                              std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              1023.0f / 1024.0f,
                              1e-30f};
    for (int count = 0; count < 68; ++count) {
        for (int round = 0; round < 20; ++round) {
            std::vector<std::uint16_t> pixels(static_cast<std::size_t>(count) + 1);
            std::vector<float> factors(static_cast<std::size_t>(count) + 1);
            for (auto& value : pixels) value = static_cast<std::uint16_t>(pixel(random));
            for (std::size_t index = 0; index < factors.size(); ++index) {
                factors[index] =
                    index % 7 == 3 ? specials[(index + round) % std::size(specials)] : factor(random);
            }
            // Pixel by pixel, by the definition the table above checks.
            auto expected = pixels;
            for (int column = 0; column < count; ++column)
                expected[column] = corrected_pixel(expected[column], factors[column]);
            qx::device_qv::correct_row(pixels.data(), factors.data(), count);
            ASSERT_EQ(pixels, expected)
                << count << " pixels, " << qx::device_qv::correction_implementation_name();
        }
    }
}

TEST(column_correction, refuses_frames_it_cannot_correct) {
    column_balancing_class tables;
    std::vector<unsigned char> slot(56 + 16 * 2 * 2, 0);
    const auto failure_of = [&](unsigned char* frame, int width) -> std::string {
        try {
            tables.correct_frame(frame, width, 2, 0);
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    };
    EXPECT_EQ(failure_of(nullptr, 16), "Image data cannot be nullptr.");
    EXPECT_EQ(failure_of(slot.data(), 16), "Expected column correction to be enabled.");
    tables.enabled = true;
    EXPECT_EQ(failure_of(slot.data(), 16),
              "Expected column-correction max to equal the image width in pixels.");
}

}  // namespace
