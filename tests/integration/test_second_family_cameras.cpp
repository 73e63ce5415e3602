// The second camera family's module serving the emulator's cameras of that
// family, through the kit, next to a camera of the built-in family.

#include <gtest/gtest.h>

#include <string>

#include "support/sdk_camera_fixture.h"

namespace {

class second_family_cameras : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        qx::test::configure_emulator(R"({"cameras":[
            {"family":"ralto","serial":"RT-1","sensor_width":64,"sensor_height":8,"pacing":"fast"},
            {"family":"qv","serial":"QV-1","sensor_width":64,"sensor_height":8,"pacing":"fast"}]})");
        ASSERT_EQ(qx_camera_open_sdk(), 0) << qx_camera_get_last_error();
        sdk_open = true;
    }
};

TEST_F(second_family_cameras, are_listed_after_the_built_in_family_open_answer_and_stream) {
    char serials[256] = {};
    ASSERT_EQ(qx_camera_discover_available_cameras(serials, sizeof serials - 1), 0)
        << qx_camera_get_last_error();
    EXPECT_STREQ(serials, "QV-1 RT-1") << "listed after the built-in family";
    char serial[] = "RT-1";
    ASSERT_EQ(qx_camera_open_camera(serial, &camera), 0) << qx_camera_get_last_error();
    char model[64] = {};
    ASSERT_EQ(qx_camera_get_model(camera, model, sizeof model), 0) << qx_camera_get_last_error();
    EXPECT_STREQ(model, "RALTO-2448M");
    int width = 0;
    ASSERT_EQ(qx_camera_get_image_width(camera, &width), 0);
    EXPECT_EQ(width, 64);

    ASSERT_EQ(qx_camera_set_frames_per_trigger_zero_for_unlimited(camera, 3), 0)
        << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    int frames = 0;
    for (int attempt = 0; attempt < 20 && frames < 3; ++attempt) {
        unsigned short* image = nullptr;
        int count = 0;
        unsigned char* metadata = nullptr;
        int size = 0;
        ASSERT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &size), 0)
            << qx_camera_get_last_error();
        if (image == nullptr)
            continue;
        const qx::test::frame_geometry geometry{0, 0, 64, 8, 1, 1, 12};
        EXPECT_EQ(qx::test::gradient_mismatches(image, static_cast<std::uint32_t>(count), geometry), 0);
        ++frames;
    }
    EXPECT_EQ(frames, 3);
    EXPECT_EQ(qx_camera_disarm(camera), 0);
}

}  // namespace
