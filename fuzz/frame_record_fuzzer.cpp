// Any bytes as a frame slot's record, read by the kit's frame-record scan:
// the scan stays inside the smallest slot an armed camera has (the record's
// 16,384 bytes) and answers either pixels alone or the record's own fields.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "acquisition/frame_acquisition_class.h"
#include "device_qv/frame_record_format.h"
#include "fuzz_support.h"

namespace {
// With metadata on, every slot holds at least the record's reserve.
constexpr std::size_t smallest_slot = 16384;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Exactly the slot on the heap, so a read past it is caught.
    const auto slot = std::make_unique<unsigned char[]>(smallest_slot);
    std::memcpy(slot.get(), data, size < smallest_slot ? size : smallest_slot);

    const auto record = qx::acquisition::scan_frame_record(slot.get());
    if (record.metadata == nullptr) {
        // No "VKO" magic: the whole slot is pixels.
        QX_FUZZ_REQUIRE(qx::device_qv::read_word(slot.get()) != qx::device_qv::magic_tag);
        QX_FUZZ_REQUIRE(record.image_data == reinterpret_cast<unsigned short*>(slot.get()));
        QX_FUZZ_REQUIRE(record.frame_count == 0 && record.metadata_size == 0);
    } else {
        QX_FUZZ_REQUIRE(record.metadata == slot.get());
        // No image offset, no pixels.
        if (record.image_data == nullptr)
            QX_FUZZ_REQUIRE(record.metadata_size == 0);
    }
    return 0;
}
