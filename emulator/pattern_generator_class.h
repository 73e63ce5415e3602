#pragma once
// The test patterns. Every pattern is a formula of the sensor position
// (x, y), the frame count f and the bit depth; docs/emulator.md gives the
// formulas. A pattern row depends on y and f only through a "row key", so
// encoded rows are cached by key, and a frame is planned as a list of
// pointers to encoded rows that packets copy from directly.

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "frame_format_class.h"

namespace qx::emulator {

class pattern_generator_class {
  public:
    /** @p cache_limit_bytes bounds the row cache, so that wide 16-bit patterns cannot grow it without limit.
     */
    explicit pattern_generator_class(std::size_t cache_limit_bytes = 32u << 20)
        : cache_limit_bytes_(cache_limit_bytes) {}

    /**
     * Points @p rows at the encoded rows (format.row_bytes() each) of the frame
     * with frame count @p frame_count. The rows stay valid until the next call.
     */
    void plan_frame(const frame_format_class& format, std::uint32_t frame_count,
                    std::vector<const std::uint8_t*>& rows);

  private:
    static std::uint32_t row_key(const frame_format_class& format, int y, std::uint32_t frame_count);
    static std::uint16_t value_in_row(const frame_format_class& format, std::uint32_t key, int x);
    void render_row(const frame_format_class& format, std::uint32_t key, std::uint8_t* out);
    void prepare_cache(const frame_format_class& format);
    void plan_gradient_slices(const frame_format_class& format, std::uint32_t frame_count,
                              std::vector<const std::uint8_t*>& rows) const;

    std::size_t cache_limit_bytes_;
    frame_format_class cached_format_{};
    std::unordered_map<std::uint32_t, std::vector<std::uint8_t>> cached_rows_;
    std::size_t cached_bytes_ = 0;
    std::vector<std::uint8_t> uncached_rows_;  // rows of the planned frame that the cache could not take
    // Unbinned gradient rows are slices of one sequence 0, 1, 2 ... (mod 2^bits):
    // one encoded copy of it per pixel phase within a packing group.
    std::vector<std::vector<std::uint8_t>> gradient_sequences_;
    std::vector<std::uint16_t> row_values_;
};

}  // namespace qx::emulator
