#include "camera/camera_properties_class.h"

namespace qx::camera {

const std::array<std::string_view, static_cast<std::size_t>(feature::count)> feature_words = {
    "color",
    "eep",
    "fps",
    "gain",
    "blklvl",
    "polar_phase",
    "readout_frequency",
    "taps",
    "statusled",
    "NIR_boost",
    "statustec",
    "sfr",
    "pixel_clock_count_base",
    "hot_pixel_correction",
};

void camera_properties_class::set_features_from_discover_reply(std::string_view reply) {
    flags.fill(false);
    std::size_t start = 0;
    while (start < reply.size()) {
        auto end = reply.find(' ', start);
        if (end == std::string_view::npos)
            end = reply.size();
        const std::string_view token = reply.substr(start, end - start);
        for (std::size_t index = 0; index < feature_words.size(); ++index) {
            if (token == feature_words[index])
                flags[index] = true;
        }
        start = end + 1;
    }
}

}  // namespace qx::camera
