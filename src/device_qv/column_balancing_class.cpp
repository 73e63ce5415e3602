#include "device_qv/column_balancing_class.h"

#include <bit>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "device_qv/qv_camera_class.h"
#include "device_qv/reply_lexer.h"

namespace qx::device_qv {

namespace {

constexpr int max_table_width = 4095;
constexpr int max_reported_gain = 63;
constexpr int columns_per_read = 64;
constexpr int hex_digits_per_column = 8;

// The first integer token of a reply.
std::uint32_t first_integer(const std::string& reply) {
    lex_token token = make_lex_token(reply.c_str(), reply.size());
    if (next_token(&token) != LEX_INT) throw std::runtime_error("Expected token to be LEX_INT.");
    return token.value;
}

// Eight hex digits holding a float's bit pattern least significant byte
// first ("0000803f" is 1.0): the byte pairs are reversed, then read as one
// hexadecimal number up to the first character that is not a hex digit.
float column_factor(const char* digits) {
    char reversed[hex_digits_per_column + 1] = {};
    for (int pair = 0; pair < 4; ++pair) {
        reversed[2 * pair] = digits[2 * (3 - pair)];
        reversed[2 * pair + 1] = digits[2 * (3 - pair) + 1];
    }
    std::uint32_t bits = 0;
    for (int index = 0; index < hex_digits_per_column; ++index) {
        const char c = reversed[index];
        std::uint32_t value = 0;
        if (c >= '0' && c <= '9') {
            value = static_cast<std::uint32_t>(c - '0');
        } else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f') {
            value = static_cast<std::uint32_t>((c | 0x20) - 'a' + 10);
        } else {
            break;
        }
        bits = bits * 16 + value;
    }
    return std::bit_cast<float>(bits);
}

}  // namespace

std::uint16_t corrected_pixel(std::uint16_t pixel, float factor) {
    const float product = static_cast<float>(pixel) * factor;
    // Truncation toward zero of a value outside the 32-bit range (or NaN)
    // yields the integer indefinite value, which reads as far above 1023.
    if (!(product > -2147483648.0f && product < 2147483648.0f)) return static_cast<std::uint16_t>(corrected_full_scale);
    const auto truncated = static_cast<std::uint32_t>(static_cast<std::int32_t>(product));
    return static_cast<std::uint16_t>(truncated > corrected_full_scale ? corrected_full_scale : truncated);
}

bool column_balancing_class::load_tables(qv_camera_class& camera) {
    const std::string checksum = camera.query("prnu crc 0");
    lex_token token = make_lex_token(checksum.c_str(), checksum.size());
    if (next_token(&token) != LEX_INT) return false;

    const int width = std::atoi(camera.query("image_width.max").c_str());
    if (static_cast<std::uint32_t>(width - 1) > static_cast<std::uint32_t>(max_table_width - 1)) {
        throw std::runtime_error("Width is out of range.");
    }
    const int reported_gain_max = std::atoi(camera.query("gain.max").c_str());
    if (reported_gain_max < 1 || reported_gain_max > max_reported_gain) {
        throw std::runtime_error("Maximum gain is out of range.");
    }
    // The tables hold five gain sets; a camera reporting more is served for
    // its first five.
    loaded_gain_max = reported_gain_max < column_gain_sets - 1 ? reported_gain_max : column_gain_sets - 1;

    const std::size_t text_capacity = static_cast<std::size_t>(width) * hex_digits_per_column;
    std::vector<std::string> texts;
    try {
        texts.assign(static_cast<std::size_t>(loaded_gain_max) + 1, std::string());
        for (auto& text : texts) text.reserve(text_capacity);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("Error allocating character array.");
    }
    for (int set = 0; set <= loaded_gain_max; ++set) {
        for (int column = 0; column < width; column += columns_per_read) {
            const int count = width - column < columns_per_read ? width - column : columns_per_read;
            char command[64];
            std::snprintf(command, sizeof command, "prnu r %x %x %x", static_cast<unsigned>(set),
                          static_cast<unsigned>(column), static_cast<unsigned>(count * 4));
            const std::string reply = camera.query(command);
            auto& text = texts[static_cast<std::size_t>(set)];
            if (text.size() + reply.size() > text_capacity) throw std::runtime_error("Offset is out of range.");
            text += reply;
        }
    }

    loaded_width = width;
    for (int set = 0; set <= loaded_gain_max; ++set) {
        std::string& text = texts[static_cast<std::size_t>(set)];
        text.resize(text_capacity, '\0');
        for (int column = 0; column < width; ++column) {
            loaded[static_cast<std::size_t>(set)][column] =
                column_factor(text.data() + static_cast<std::size_t>(column) * hex_digits_per_column);
        }
    }
    enabled = true;
    tables_loaded = true;
    return true;
}

void column_balancing_class::adapt_tables(qv_camera_class& camera) {
    const std::uint32_t gain = first_integer(camera.query("gain"));
    if (gain > static_cast<std::uint32_t>(column_gain_sets - 1)) throw std::runtime_error("Gain out of range.");
    camera.cached_gain = static_cast<std::int32_t>(gain);

    const auto binning = static_cast<std::int32_t>(first_integer(camera.query("hbin")));
    const std::string region = camera.query("roi");
    lex_token token = make_lex_token(region.c_str(), region.size());
    std::int32_t corners[3] = {};
    for (auto& corner : corners) {
        if (next_token(&token) != LEX_INT) throw std::runtime_error("Expected token to be LEX_INT.");
        corner = static_cast<std::int32_t>(token.value);
    }
    const std::int32_t left = corners[0];
    const std::int32_t cut_width = corners[2] - left + 1;
    if (binning < 1) throw std::runtime_error("Binning factor must be 1 or more.");
    if (cut_width < 1 || left < 0 || left + cut_width > loaded_width) {
        throw std::runtime_error("Region of interest lies outside the column-gain tables.");
    }

    for (int set = 0; set <= loaded_gain_max; ++set) {
        const auto& source = loaded[static_cast<std::size_t>(set)];
        auto& target = working[static_cast<std::size_t>(set)];
        std::memcpy(target.data(), source.data() + left, static_cast<std::size_t>(cut_width) * sizeof(float));
    }
    correction_max = cut_width / binning;
    if (binning >= 2) {
        for (int set = 0; set <= loaded_gain_max; ++set) {
            auto& entries = working[static_cast<std::size_t>(set)];
            for (int column = 0; column < correction_max; ++column) {
                float sum = 0.0f;
                for (int part = 0; part < binning; ++part) sum += entries[column * binning + part];
                entries[column] = sum / static_cast<float>(binning);
            }
        }
    }
}

void column_balancing_class::correct_frame(unsigned char* slot, int width, int height, std::int32_t gain_set) const {
    if (slot == nullptr) throw std::runtime_error("Image data cannot be nullptr.");
    if (!enabled) throw std::runtime_error("Expected column correction to be enabled.");
    if (correction_max != width) {
        throw std::runtime_error("Expected column-correction max to equal the image width in pixels.");
    }
    if (gain_set < 0 || gain_set > loaded_gain_max) throw std::runtime_error("Gain out of range.");
    const float* factors = working[static_cast<std::size_t>(gain_set)].data();
    unsigned char* pixels = slot + corrected_pixel_offset;
    for (int row = 0; row < height; ++row) {
        unsigned char* line = pixels + static_cast<std::size_t>(row) * static_cast<std::size_t>(width) * 2;
        for (int column = 0; column < width; ++column) {
            std::uint16_t pixel;
            std::memcpy(&pixel, line + column * 2, sizeof pixel);
            pixel = corrected_pixel(pixel, factors[column]);
            std::memcpy(line + column * 2, &pixel, sizeof pixel);
        }
    }
}

}  // namespace qx::device_qv
