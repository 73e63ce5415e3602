#pragma once
// What the kit learns about a camera when it is opened: its feature flags,
// its gain table and the image-size overrides.

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace qx::camera {

// One flag per feature word of the camera's "discover" reply, in the order
// of feature_words.
enum class feature {
    color,
    eep,
    fps,
    gain,
    black_level,
    polar_phase,
    readout_frequency,
    taps,
    status_led,
    nir_boost,
    powered_cooling,
    frame_rate_control,
    timestamp_clock,
    hot_pixel_correction,
    count
};

extern const std::array<std::string_view, static_cast<std::size_t>(feature::count)> feature_words;

class camera_properties_class {
  public:
    // Clears every flag, then sets the flag of each token of the reply that
    // is exactly one of the feature words; unknown tokens are ignored.
    void set_features_from_discover_reply(std::string_view reply);

    bool has(feature flag) const { return flags[static_cast<std::size_t>(flag)]; }
    void set(feature flag, bool value) { flags[static_cast<std::size_t>(flag)] = value; }

    // Gain table: one entry per gain index, tenths of a decibel as text.
    // Fewer than two entries means a linear camera.
    std::vector<std::string> gain_table;

    // Set only through _set_image_size_overrides; 0 while not set.
    int image_width_override = 0;
    int image_height_override = 0;

  private:
    std::array<bool, static_cast<std::size_t>(feature::count)> flags{};
};

}  // namespace qx::camera
