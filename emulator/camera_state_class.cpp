#include "camera_state_class.h"

#include <algorithm>

namespace qx::emulator {

namespace {

camera_state_class::integer_setting constant(std::int64_t value) {
    return {value, value, value};
}

std::string join_words(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        if (!text.empty()) {
            text += ' ';
        }
        text += word;
    }
    return text;
}

}  // namespace

camera_state_class::camera_state_class(const camera_config_class& config_)
    : config(config_),
      frame_time_us{config_.frame_time_us, 100, 10000000},
      bit_depth{config_.bit_depth, 8, config_.bit_depth},
      gain{config_.gain_min, config_.gain_min, config_.gain_max},
      pixel_width_nm(constant(config_.pixel_width_nm)),
      pixel_height_nm(constant(config_.pixel_height_nm)),
      user_memory_size(constant(config_.user_memory_size)),
      id(config_.id),
      serial(config_.serial),
      model(config_.model),
      name(config_.name),
      firmware(config_.firmware),
      discover(join_words(config_.features)),
      usb_speed(config_.usb_speed),
      color(config_.color),
      gain_discipline(config_.gain_table.empty() ? "linear" : "table"),
      roi{0, 0, config_.sensor_width - 1, config_.sensor_height - 1},
      user_memory(static_cast<std::size_t>(config_.user_memory_size), 0xFF) {
    nir_boost = {0, 0, has_feature("NIR_boost") ? 1 : 0};
    if (config.gain_table.empty()) {
        gain_table = "not applicable";
    } else {
        std::vector<std::string> entries;
        for (const int entry : config.gain_table) {
            entries.push_back(std::to_string(entry));
        }
        gain_table = join_words(entries);
    }
    update_derived();
}

bool camera_state_class::has_feature(std::string_view word) const {
    return std::find(config.features.begin(), config.features.end(), word) != config.features.end();
}

std::chrono::microseconds camera_state_class::frame_period() const {
    if (sfr_enabled == "on") {
        return std::chrono::microseconds(1000000000 / sfr_millifps.value);
    }
    return std::chrono::microseconds(frame_time_us.value);
}

frame_format_class camera_state_class::frame_format() const {
    frame_format_class format;
    format.roi_left = static_cast<int>(roi[0]);
    format.roi_top = static_cast<int>(roi[1]);
    format.hbin = static_cast<int>(hbin.value);
    format.vbin = static_cast<int>(vbin.value);
    format.width = static_cast<int>(image_width.value);
    format.height = static_cast<int>(image_height.value);
    format.bit_depth = static_cast<int>(bit_depth.value);
    // Packing applies only at the bit depth it is made for.
    const bool packing_applies = (config.packing == pixel_packing::packed_12 && format.bit_depth == 12) ||
                                 (config.packing == pixel_packing::packed_10 && format.bit_depth == 10);
    format.packing = packing_applies ? config.packing : pixel_packing::none;
    format.pattern = config.pattern;
    format.flat_value = config.flat_value & static_cast<int>(format.value_mask());
    return format;
}

firmware_phrase camera_state_class::check_geometry(const std::array<std::int64_t, 4>& corners,
                                                   std::int64_t columns_per_bin,
                                                   std::int64_t rows_per_bin) const {
    const auto [left, top, right, bottom] = corners;
    if (left < 0 || top < 0 || right >= config.sensor_width || bottom >= config.sensor_height ||
        right < left || bottom < top) {
        return firmware_phrase::size_out_of_range;
    }
    const std::int64_t width = right - left + 1;
    const std::int64_t height = bottom - top + 1;
    if (left % 2 != 0 || right % 2 != 1 || width % 4 != 0) {
        return firmware_phrase::width_alignment;
    }
    if (width < min_roi_width || height < min_roi_height) {
        return firmware_phrase::size_out_of_range;
    }
    // The binned image must keep whole groups of 4 pixels per row.
    if (width % (4 * columns_per_bin) != 0 || height % rows_per_bin != 0) {
        return firmware_phrase::roi_bin_combination_invalid;
    }
    return firmware_phrase::success;
}

void camera_state_class::update_derived() {
    const std::int64_t roi_width = roi[2] - roi[0] + 1;
    const std::int64_t roi_height = roi[3] - roi[1] + 1;
    image_width = {roi_width / hbin.value, min_roi_width, config.sensor_width};
    image_height = {roi_height / vbin.value, min_roi_height, config.sensor_height};
    const std::int64_t readout = roi_height * line_time_ns;
    readout_time_ns = {readout, readout, readout};
}

}  // namespace qx::emulator
