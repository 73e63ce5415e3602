#include "device_qv/pixel_unpacking.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define QX_HAVE_X86_SIMD 1
#endif

namespace qx::device_qv {

void unpack_12bit_scalar(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups) {
    for (std::size_t group = 0; group < groups; ++group, source += 6, destination += 4) {
        destination[0] = static_cast<std::uint16_t>(source[0] | ((source[1] & 0x0F) << 8));
        destination[1] = static_cast<std::uint16_t>((source[1] >> 4) | (source[2] << 4));
        destination[2] = static_cast<std::uint16_t>(source[3] | ((source[4] & 0x0F) << 8));
        destination[3] = static_cast<std::uint16_t>((source[4] >> 4) | (source[5] << 4));
    }
}

void unpack_10bit_scalar(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups) {
    for (std::size_t group = 0; group < groups; ++group, source += 5, destination += 4) {
        std::uint64_t bits = 0;
        for (int byte = 4; byte >= 0; --byte) bits = (bits << 8) | source[byte];
        for (int pixel = 0; pixel < 4; ++pixel) {
            destination[pixel] = static_cast<std::uint16_t>((bits >> (10 * pixel)) & 0x3FF);
        }
    }
}

#if defined(QX_HAVE_X86_SIMD)
namespace {

// 16 bytes in, 8 pixels out per step for 12-bit (12 source bytes used), and
// 8 pixels from 10 source bytes for 10-bit. Each step reads 16 bytes, so the
// vector loops stop early enough never to read past the source.
__attribute__((target("ssse3"))) void unpack_12bit_ssse3(const std::uint8_t* source,
                                                         std::uint16_t* destination, std::size_t groups) {
    // Each 16-bit lane takes the two bytes that hold its pixel: pixel 2k from
    // bytes 3k, 3k+1 (low 12 bits); pixel 2k+1 from bytes 3k+1, 3k+2 (shifted
    // right by 4).
    const __m128i shuffle = _mm_setr_epi8(0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11);
    const __m128i low_mask = _mm_set1_epi32(0x00000FFF);
    std::size_t group = 0;
    for (; group + 3 <= groups; group += 2, source += 12, destination += 8) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
        const __m128i pairs = _mm_shuffle_epi8(bytes, shuffle);
        const __m128i even = _mm_and_si128(pairs, low_mask);
        const __m128i odd =
            _mm_and_si128(_mm_srli_epi16(pairs, 4), _mm_set1_epi32(static_cast<int>(0x0FFF0000)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), _mm_or_si128(even, odd));
    }
    unpack_12bit_scalar(source, destination, groups - group);
}

__attribute__((target("ssse3"))) void unpack_10bit_ssse3(const std::uint8_t* source,
                                                         std::uint16_t* destination, std::size_t groups) {
    // Pixel k of a group starts at bit 10k: the lane takes bytes (0,1), (1,2),
    // (2,3), (3,4) and needs a right shift by 0, 2, 4, 6; the next group
    // starts 5 bytes on. Shifting left by 6 - shift (a multiply that drops
    // the unwanted high bits) and then right by 6 keeps exactly the 10 bits.
    const __m128i shuffle = _mm_setr_epi8(0, 1, 1, 2, 2, 3, 3, 4, 5, 6, 6, 7, 7, 8, 8, 9);
    const __m128i scale = _mm_setr_epi16(64, 16, 4, 1, 64, 16, 4, 1);
    std::size_t group = 0;
    for (; group + 4 <= groups; group += 2, source += 10, destination += 8) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
        const __m128i pairs = _mm_shuffle_epi8(bytes, shuffle);
        const __m128i pixels = _mm_srli_epi16(_mm_mullo_epi16(pairs, scale), 6);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), pixels);
    }
    unpack_10bit_scalar(source, destination, groups - group);
}

bool processor_has_ssse3() {
    static const bool has = __builtin_cpu_supports("ssse3");
    return has;
}

}  // namespace
#endif

void unpack_12bit(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups) {
#if defined(QX_HAVE_X86_SIMD)
    if (processor_has_ssse3())
        return unpack_12bit_ssse3(source, destination, groups);
#endif
    unpack_12bit_scalar(source, destination, groups);
}

void unpack_10bit(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups) {
#if defined(QX_HAVE_X86_SIMD)
    if (processor_has_ssse3())
        return unpack_10bit_ssse3(source, destination, groups);
#endif
    unpack_10bit_scalar(source, destination, groups);
}

const char* unpacking_implementation_name() {
#if defined(QX_HAVE_X86_SIMD)
    if (processor_has_ssse3())
        return "ssse3";
#endif
    return "scalar";
}

}  // namespace qx::device_qv
