#include "pattern_generator_class.h"

#include "pixel_encoding.h"

namespace qx::emulator {

std::uint32_t pattern_generator_class::row_key(const frame_format_class& format, int y,
                                               std::uint32_t frame_count) {
    const std::uint64_t row = static_cast<std::uint64_t>(y);
    const std::uint64_t frame = frame_count;
    switch (format.pattern) {
        case pattern_kind::gradient:
            return static_cast<std::uint32_t>((3 * row + 7 * frame) & format.value_mask());
        case pattern_kind::checker:
            return static_cast<std::uint32_t>(((row >> 3) + frame) & 1);
        case pattern_kind::frame_count:
            return static_cast<std::uint32_t>(frame & format.value_mask());
        case pattern_kind::moving_bars:
            return static_cast<std::uint32_t>((4 * frame) & 63);
        case pattern_kind::flat:
            break;
    }
    return 0;
}

std::uint16_t pattern_generator_class::value_in_row(const frame_format_class& format, std::uint32_t key,
                                                    int x) {
    const std::uint32_t column = static_cast<std::uint32_t>(x);
    const std::uint32_t mask = format.value_mask();
    switch (format.pattern) {
        case pattern_kind::gradient:
            return static_cast<std::uint16_t>((column + key) & mask);
        case pattern_kind::checker:
            return static_cast<std::uint16_t>((((column >> 3) + key) & 1) != 0 ? mask : 0);
        case pattern_kind::frame_count:
            return static_cast<std::uint16_t>(key);
        case pattern_kind::moving_bars:
            return static_cast<std::uint16_t>(((column + key) & 63) * mask / 63);
        case pattern_kind::flat:
            break;
    }
    return static_cast<std::uint16_t>(format.flat_value);
}

void pattern_generator_class::render_row(const frame_format_class& format, std::uint32_t key,
                                         std::uint8_t* out) {
    row_values_.resize(static_cast<std::size_t>(format.width));
    for (int i = 0; i < format.width; ++i) {
        // A binned pixel takes the value of the top-left sensor pixel of its bin.
        row_values_[static_cast<std::size_t>(i)] =
            value_in_row(format, key, format.roi_left + i * format.hbin);
    }
    encode_pixels(row_values_.data(), format.width, format.packing, out);
}

namespace {

int pixels_per_group(pixel_packing packing) {
    return packing == pixel_packing::packed_12 ? 2 : packing == pixel_packing::packed_10 ? 4 : 1;
}

}  // namespace

void pattern_generator_class::prepare_cache(const frame_format_class& format) {
    if (format == cached_format_) {
        return;
    }
    cached_rows_.clear();
    cached_bytes_ = 0;
    gradient_sequences_.clear();
    cached_format_ = format;
    if (format.pattern != pattern_kind::gradient || format.hbin != 1) {
        return;
    }
    // Long enough for a row starting anywhere in one period, in whole groups of 4 pixels.
    const int length = (static_cast<int>(format.value_mask()) + 1 + format.width + 3) / 4 * 4;
    std::vector<std::uint16_t> values(static_cast<std::size_t>(length));
    for (int phase = 0; phase < pixels_per_group(format.packing); ++phase) {
        for (int n = 0; n < length; ++n) {
            values[static_cast<std::size_t>(n)] =
                static_cast<std::uint16_t>((phase + n) & format.value_mask());
        }
        auto& sequence = gradient_sequences_.emplace_back(encoded_size(length, format.packing));
        encode_pixels(values.data(), length, format.packing, sequence.data());
    }
}

void pattern_generator_class::plan_gradient_slices(const frame_format_class& format,
                                                   std::uint32_t frame_count,
                                                   std::vector<const std::uint8_t*>& rows) const {
    const auto group = static_cast<std::uint32_t>(pixels_per_group(format.packing));
    for (std::size_t j = 0; j < rows.size(); ++j) {
        const std::uint32_t key =
            row_key(format, format.roi_top + static_cast<int>(j) * format.vbin, frame_count);
        // Row values are (roi_left + i + key) mod 2^bits: the sequence from that offset on.
        const std::uint32_t offset =
            (static_cast<std::uint32_t>(format.roi_left) + key) & format.value_mask();
        const std::uint32_t phase = offset % group;
        rows[j] = gradient_sequences_[phase].data() +
                  encoded_size(static_cast<int>(offset - phase), format.packing);
    }
}

void pattern_generator_class::plan_frame(const frame_format_class& format, std::uint32_t frame_count,
                                         std::vector<const std::uint8_t*>& rows) {
    prepare_cache(format);
    rows.resize(static_cast<std::size_t>(format.height));
    if (!gradient_sequences_.empty()) {
        plan_gradient_slices(format, frame_count, rows);
        return;
    }
    const std::size_t row_bytes = format.row_bytes();
    std::size_t uncached = 0;
    bool have_previous = false;
    std::uint32_t previous_key = 0;
    for (std::size_t j = 0; j < rows.size(); ++j) {
        const std::uint32_t key =
            row_key(format, format.roi_top + static_cast<int>(j) * format.vbin, frame_count);
        if (have_previous && key == previous_key) {
            rows[j] = rows[j - 1];
        } else if (const auto cached = cached_rows_.find(key); cached != cached_rows_.end()) {
            rows[j] = cached->second.data();
        } else if (cached_bytes_ + row_bytes <= cache_limit_bytes_) {
            auto& row = cached_rows_[key];
            row.resize(row_bytes);
            render_row(format, key, row.data());
            cached_bytes_ += row_bytes;
            rows[j] = row.data();
        } else {
            if (uncached == 0) {
                // Sized for the whole frame at once, so that earlier pointers into it stay valid.
                uncached_rows_.resize(row_bytes * rows.size());
            }
            std::uint8_t* row = uncached_rows_.data() + row_bytes * uncached++;
            render_row(format, key, row);
            rows[j] = row;
        }
        have_previous = true;
        previous_key = key;
    }
}

}  // namespace qx::emulator
