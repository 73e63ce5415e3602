// Reading the frame record at the start of a frame slot: the records a slot
// should not hold. A whole record is read end to end by the frame
// acquisition tests, whose emulated camera writes one into every frame.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "acquisition/frame_acquisition_class.h"

namespace {

using qx::acquisition::scan_frame_record;

// A slot of little-endian words: tag/value pairs, then pixels.
std::vector<unsigned char> slot_of(const std::vector<std::pair<const char*, std::uint32_t>>& pairs) {
    std::vector<unsigned char> slot(32768, 0);
    std::size_t offset = 0;
    for (const auto& [tag, value] : pairs) {
        std::memcpy(slot.data() + offset, tag, 4);
        std::memcpy(slot.data() + offset + 4, &value, 4);
        offset += 8;
    }
    return slot;
}

TEST(frame_record, a_slot_without_the_magic_is_all_pixels) {
    auto slot = slot_of({{"VKX\0", 1}, {"FCNT", 9}, {"IOFF", 7}, {"ENDT", 0}});
    const auto record = scan_frame_record(slot.data());
    EXPECT_EQ(reinterpret_cast<unsigned char*>(record.image_data), slot.data());
    EXPECT_EQ(record.metadata, nullptr);
    EXPECT_EQ(record.metadata_size, 0);
    EXPECT_EQ(record.frame_count, 0);
}

TEST(frame_record, tags_after_the_end_tag_are_not_read_and_a_missing_offset_means_no_pixels) {
    auto slot = slot_of({{"VKO\0", 1}, {"ENDT", 0}, {"FCNT", 9}, {"IOFF", 7}});
    const auto record = scan_frame_record(slot.data());
    EXPECT_EQ(record.frame_count, 0);
    EXPECT_EQ(record.image_data, nullptr);
    EXPECT_EQ(record.metadata, slot.data());
    EXPECT_EQ(record.metadata_size, 0);
}

TEST(frame_record, the_scan_stops_within_the_metadata_region) {
    // No end tag anywhere: the scan gives up after 2048 pairs, and an offset
    // tag beyond them is not seen.
    auto slot = slot_of({{"VKO\0", 1}, {"FCNT", 3}});
    const std::uint32_t offset = 11;
    std::memcpy(slot.data() + 2048 * 8, "IOFF", 4);
    std::memcpy(slot.data() + 2048 * 8 + 4, &offset, 4);
    const auto record = scan_frame_record(slot.data());
    EXPECT_EQ(record.frame_count, 3);
    EXPECT_EQ(record.image_data, nullptr);
}

TEST(frame_record, a_pixel_offset_outside_the_slot_gives_no_pixels_and_no_wrapped_size) {
    struct offset_case {
        std::uint32_t offset;
        bool inside;
    };
    const offset_case cases[] = {{7, true}, {4095, true}, {4096, false}, {0x20000000, false}, {0xFFFFFFFF, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.offset);
        auto slot = slot_of({{"VKO\0", 1}, {"FCNT", 2}, {"IOFF", row.offset}, {"ENDT", 0}});
        const auto record = scan_frame_record(slot.data(), static_cast<std::int64_t>(slot.size()));
        EXPECT_EQ(record.image_data != nullptr, row.inside);
        EXPECT_EQ(record.metadata_size, row.inside ? static_cast<int>(row.offset * 8) : 0);
        EXPECT_EQ(record.frame_count, 2);
    }
}

}  // namespace
