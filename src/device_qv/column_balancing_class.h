#pragma once
// Column balancing: per-column gain factors read once from the camera's own
// memory, one table per sensor gain setting, cut and averaged to the region
// of interest and the horizontal binning at arm time, and multiplied into
// every pixel of every delivered frame.

#include <array>
#include <cstdint>
#include <vector>

namespace qx::device_qv {

class qv_camera_class;

inline constexpr int column_gain_sets = 5;
inline constexpr int column_gain_columns = 4096;
// The metadata block of the family is 56 bytes; corrected pixels start there.
inline constexpr std::size_t corrected_pixel_offset = 56;
inline constexpr std::uint32_t corrected_full_scale = 1023;

class column_balancing_class {
  public:
    // Reads the tables ("prnu crc 0", "image_width.max", "gain.max",
    // "prnu r ..."). A camera without tables leaves correction off and
    // returns false. Throws on malformed tables. The caller holds the
    // camera's command lock.
    bool load_tables(qv_camera_class& camera);

    // Cuts and bins the working table to the camera's current region and
    // binning, and makes the camera's current gain its cached gain (the
    // active gain set, `cached_gain`). The caller holds the command lock.
    void adapt_tables(qv_camera_class& camera, std::int32_t& cached_gain);

    // Applies the working table of gain set `gain_set` to one frame slot of
    // width x height 16-bit pixels starting 56 bytes into the slot.
    void correct_frame(unsigned char* slot, int width, int height, std::int32_t gain_set) const;

    // Sets one working row directly, e.g. for tools that apply a table of
    // their own; the correction then expects frames `count` pixels wide.
    void set_working_row(int set, const float* factors, int count);

    bool enabled = false;
    bool tables_loaded = false;

    // Inspectable for tests and diagnostics.
    int gain_max() const { return loaded_gain_max; }
    int loaded_table_width() const { return loaded_width; }
    int column_correction_max() const { return correction_max; }
    float working_entry(int set, int column) const { return working[static_cast<std::size_t>(set)][column]; }
    float loaded_entry(int set, int column) const { return loaded[static_cast<std::size_t>(set)][column]; }

  private:
    using gain_table = std::array<std::array<float, column_gain_columns>, column_gain_sets>;
    gain_table loaded{};
    gain_table working{};
    int loaded_gain_max = 0;
    int loaded_width = 0;
    int correction_max = 0;
};

// Corrects one row of pixels in place; the same bits as corrected_pixel for
// each, using the widest instructions the processor has.
void correct_row(std::uint16_t* pixels, const float* factors, int count);
// The scalar definition of correct_row.
void correct_row_scalar(std::uint16_t* pixels, const float* factors, int count);
const char* correction_implementation_name();

// One pixel of the correction, as every implementation must compute it:
// pixel times factor, truncated toward zero; anything above 1023 (negative
// results and values beyond the integer range included) becomes 1023.
std::uint16_t corrected_pixel(std::uint16_t pixel, float factor);

}  // namespace qx::device_qv
