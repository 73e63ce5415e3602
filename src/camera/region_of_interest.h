#pragma once
// The region of interest: four corners in sensor pixels, upper-left x and y
// then lower-right x and y, both corners inclusive. The camera answers
// "roi", "roi.min" and "roi.max" with the four values; a reply with fewer
// than four integers fails with "ROI reply holds fewer than four integers.".
// The sensor's size is the largest region's lower-right corner plus one.
// Binning and the image size are catalogue rows. The caller holds the handle
// mutex.

namespace qx::camera {

class camera_command_port;

void get_roi(camera_command_port& handle, int* upper_left_x, int* upper_left_y, int* lower_right_x,
             int* lower_right_y);
// Each corner value must be 0 or more; ordering, evenness and limits are the
// camera's to refuse.
void set_roi(camera_command_port& handle, int upper_left_x, int upper_left_y, int lower_right_x,
             int lower_right_y);
void get_roi_range(camera_command_port& handle, int* upper_left_x_min, int* upper_left_y_min,
                   int* lower_right_x_min, int* lower_right_y_min, int* upper_left_x_max,
                   int* upper_left_y_max, int* lower_right_x_max, int* lower_right_y_max);
void get_sensor_width(camera_command_port& handle, int* width_pixels);
void get_sensor_height(camera_command_port& handle, int* height_pixels);

}  // namespace qx::camera
