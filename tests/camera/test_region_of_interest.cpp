// Region of interest, sensor size and binning.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using region_of_interest = parameter_fixture;

parameter_call setting_roi(int upper_left_x, int upper_left_y, int lower_right_x, int lower_right_y) {
    return status_of([=](void* camera) {
        return qx_camera_set_roi(camera, upper_left_x, upper_left_y, lower_right_x, lower_right_y);
    });
}

const std::string fewer_than_four = "ROI reply holds fewer than four integers.";

TEST_F(region_of_interest, roi_get_set_and_range) {
    run_reply_cases(
        "", {
                {reading(qx_camera_get_roi), "roi", "8 4 1927 1083 extra 99", yields("8 4 1927 1083")},
                {reading(qx_camera_get_roi), "roi", "0 0 1919", fails_with(fewer_than_four)},
                {reading(qx_camera_get_roi), "roi", "0 0 x 1079", fails_with(fewer_than_four)},
            });
    run_send_cases("", {
                           // Order, evenness and limits are the camera's to refuse.
                           {setting_roi(100, 100, 0, 0), "roi 100 100 0 0", yields("")},
                           {setting_roi(-1, 0, 10, 10), "", fails_with("upper_left_x")},
                           {setting_roi(0, -1, 10, 10), "", fails_with("upper_left_y")},
                           {setting_roi(0, 0, -10, 10), "", fails_with("lower_right_x")},
                           {setting_roi(0, 0, 10, -10), "", fails_with("lower_right_y")},
                           {setting_roi(0, -1, -1, -1), "", fails_with("upper_left_y")},
                       });
    run_case({"range",
              "",
              {{"roi.min", "0 0 63 1"}, {"roi.max", "0 0 2447 2047"}},
              reading(qx_camera_get_roi_range),
              {"get roi.min", "get roi.max"},
              yields("0 0 63 1 0 0 2447 2047")});
    run_case({"range with a short maximum",
              "",
              {{"roi.min", "0 0 63 1"}, {"roi.max", "0 0"}},
              reading(qx_camera_get_roi_range),
              {"get roi.min", "get roi.max"},
              fails_with(fewer_than_four)});
}

// The sensor's size comes from the largest region.
TEST_F(region_of_interest, sensor_size_and_binning_refusals) {
    run_reply_cases("",
                    {
                        {reading(qx_camera_get_sensor_width), "roi.max", "2447", fails_with(fewer_than_four)},
                        {reading(qx_camera_get_sensor_width), "roi.max", "0 0 2147483647 10",
                         fails_with("Sensor size is out of range.")},
                        {reading(qx_camera_get_binx), "hbin", "x2", fails_with("invalid stoi argument")},
                    });
    run_send_cases("", {
                           {writing(qx_camera_set_binx, 0), "", fails_with("binx")},
                           {writing(qx_camera_set_biny, 0), "", fails_with("biny")},
                       });
}

}  // namespace
