#pragma once
// The encoding of a frame record: 32-bit little-endian words, with tags of
// four characters. The device side finds the metadata's end and the packing
// in it; the kit side reads the frame count and the pixel offset.

#include <cstdint>
#include <cstring>

namespace qx::device_qv {

// A four-character tag as the word it is stored as.
constexpr std::uint32_t record_tag(const char (&text)[5]) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

inline constexpr std::uint32_t magic_tag = record_tag("VKO\0");
inline constexpr std::uint32_t frame_count_tag = record_tag("FCNT");
inline constexpr std::uint32_t pixel_offset_tag = record_tag("IOFF");
inline constexpr std::uint32_t format_tag = record_tag("IFMT");
inline constexpr std::uint32_t end_tag = record_tag("ENDT");

// The word at `bytes`, which need not be aligned.
inline std::uint32_t read_word(const unsigned char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

}  // namespace qx::device_qv
