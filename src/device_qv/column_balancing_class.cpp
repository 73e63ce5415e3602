#include "device_qv/column_balancing_class.h"

#include <bit>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "device_qv/qv_camera_class.h"
#include "device_qv/reply_lexer.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define QX_HAVE_X86_SIMD 1
#endif

namespace qx::device_qv {

namespace {

constexpr int max_table_width = 4095;
constexpr int max_reported_gain = 63;
constexpr int columns_per_read = 64;
constexpr int hex_digits_per_column = 8;

// The first integer token of a reply.
std::uint32_t first_integer(const std::string& reply) {
    lex_token token = make_lex_token(reply.c_str(), reply.size());
    if (next_token(&token) != LEX_INT)
        throw std::runtime_error("Expected token to be LEX_INT.");
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
    if (!(product > -2147483648.0f && product < 2147483648.0f))
        return static_cast<std::uint16_t>(corrected_full_scale);
    const auto truncated = static_cast<std::uint32_t>(static_cast<std::int32_t>(product));
    return static_cast<std::uint16_t>(truncated > corrected_full_scale ? corrected_full_scale : truncated);
}

void correct_row_scalar(std::uint16_t* pixels, const float* factors, int count) {
    for (int column = 0; column < count; ++column)
        pixels[column] = corrected_pixel(pixels[column], factors[column]);
}

#if defined(QX_HAVE_X86_SIMD)
namespace {

// Truncation of an out-of-range or NaN product yields 0x80000000, which an
// unsigned minimum with 1023 turns into 1023: the scalar rule exactly.
__attribute__((target("avx2"))) void correct_row_avx2(std::uint16_t* pixels, const float* factors,
                                                      int count) {
    const __m256i full_scale = _mm256_set1_epi32(static_cast<int>(corrected_full_scale));
    int column = 0;
    for (; column + 8 <= count; column += 8) {
        const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + column));
        const __m256 values = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(raw));
        const __m256 products = _mm256_mul_ps(values, _mm256_loadu_ps(factors + column));
        const __m256i clamped = _mm256_min_epu32(_mm256_cvttps_epi32(products), full_scale);
        const __m128i packed =
            _mm_packus_epi32(_mm256_castsi256_si128(clamped), _mm256_extracti128_si256(clamped, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels + column), packed);
    }
    correct_row_scalar(pixels + column, factors + column, count - column);
}

__attribute__((target("sse4.1"))) void correct_row_sse41(std::uint16_t* pixels, const float* factors,
                                                         int count) {
    const __m128i full_scale = _mm_set1_epi32(static_cast<int>(corrected_full_scale));
    int column = 0;
    for (; column + 8 <= count; column += 8) {
        const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + column));
        const __m128 low = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(raw));
        const __m128 high = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(raw, 8)));
        const __m128i low_result =
            _mm_min_epu32(_mm_cvttps_epi32(_mm_mul_ps(low, _mm_loadu_ps(factors + column))), full_scale);
        const __m128i high_result =
            _mm_min_epu32(_mm_cvttps_epi32(_mm_mul_ps(high, _mm_loadu_ps(factors + column + 4))), full_scale);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels + column),
                         _mm_packus_epi32(low_result, high_result));
    }
    correct_row_scalar(pixels + column, factors + column, count - column);
}

enum class correction_level { scalar, sse41, avx2 };

correction_level processor_correction_level() {
    static const correction_level level = __builtin_cpu_supports("avx2")     ? correction_level::avx2
                                          : __builtin_cpu_supports("sse4.1") ? correction_level::sse41
                                                                             : correction_level::scalar;
    return level;
}

}  // namespace
#endif

void correct_row(std::uint16_t* pixels, const float* factors, int count) {
#if defined(QX_HAVE_X86_SIMD)
    switch (processor_correction_level()) {
        case correction_level::avx2:
            return correct_row_avx2(pixels, factors, count);
        case correction_level::sse41:
            return correct_row_sse41(pixels, factors, count);
        case correction_level::scalar:
            break;
    }
#endif
    correct_row_scalar(pixels, factors, count);
}

const char* correction_implementation_name() {
#if defined(QX_HAVE_X86_SIMD)
    switch (processor_correction_level()) {
        case correction_level::avx2:
            return "avx2";
        case correction_level::sse41:
            return "sse4.1";
        case correction_level::scalar:
            break;
    }
#endif
    return "scalar";
}

void column_balancing_class::set_working_row(int set, const float* factors, int count) {
    if (set < 0 || set >= column_gain_sets || count < 0 || count > column_gain_columns) {
        throw std::out_of_range("Column-gain row out of range.");
    }
    std::memcpy(working[static_cast<std::size_t>(set)].data(), factors,
                static_cast<std::size_t>(count) * sizeof(float));
    if (set > loaded_gain_max)
        loaded_gain_max = set;
    correction_max = count;
}

bool column_balancing_class::load_tables(qv_camera_class& camera) {
    const std::string checksum = camera.query("prnu crc 0");
    lex_token token = make_lex_token(checksum.c_str(), checksum.size());
    if (next_token(&token) != LEX_INT)
        return false;

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
            if (text.size() + reply.size() > text_capacity)
                throw std::runtime_error("Offset is out of range.");
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

void column_balancing_class::adapt_tables(qv_camera_class& camera, std::int32_t& cached_gain) {
    const std::uint32_t gain = first_integer(camera.query("gain"));
    if (gain > static_cast<std::uint32_t>(column_gain_sets - 1))
        throw std::runtime_error("Gain out of range.");
    cached_gain = static_cast<std::int32_t>(gain);

    const auto binning = static_cast<std::int32_t>(first_integer(camera.query("hbin")));
    const std::string region = camera.query("roi");
    lex_token token = make_lex_token(region.c_str(), region.size());
    std::int32_t corners[3] = {};
    for (auto& corner : corners) {
        if (next_token(&token) != LEX_INT)
            throw std::runtime_error("Expected token to be LEX_INT.");
        corner = static_cast<std::int32_t>(token.value);
    }
    const std::int32_t left = corners[0];
    const std::int32_t cut_width = corners[2] - left + 1;
    if (binning < 1)
        throw std::runtime_error("Binning factor must be 1 or more.");
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

void column_balancing_class::correct_frame(unsigned char* slot, int width, int height,
                                           std::int32_t gain_set) const {
    if (slot == nullptr)
        throw std::runtime_error("Image data cannot be nullptr.");
    if (!enabled)
        throw std::runtime_error("Expected column correction to be enabled.");
    if (correction_max != width) {
        throw std::runtime_error("Expected column-correction max to equal the image width in pixels.");
    }
    if (gain_set < 0 || gain_set > loaded_gain_max)
        throw std::runtime_error("Gain out of range.");
    const float* factors = working[static_cast<std::size_t>(gain_set)].data();
    // Slots start on an allocation boundary, so pixels 56 bytes in are
    // 16-bit aligned.
    auto* pixels = reinterpret_cast<std::uint16_t*>(slot + corrected_pixel_offset);
    for (int row = 0; row < height; ++row) {
        correct_row(pixels + static_cast<std::size_t>(row) * static_cast<std::size_t>(width), factors, width);
    }
}

}  // namespace qx::device_qv
