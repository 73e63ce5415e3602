// Any bytes as a frame slot's record, read by the kit's frame-record scan:
// the scan stays inside the slot (the record's 16,384 bytes and a few
// pixels), answers either pixels alone or the record's own fields, and
// never places the pixels outside the slot.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "acquisition/frame_acquisition_class.h"
#include "base/frame_record_format.h"
#include "fuzz_support.h"

namespace {
// With metadata on, every slot holds the record's reserve before its pixels.
constexpr std::size_t record_reserve = 16384;
constexpr std::size_t slot_size = record_reserve + 1024;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Exactly the slot on the heap, so a read past it is caught.
    const auto slot = std::make_unique<unsigned char[]>(slot_size);
    std::memcpy(slot.get(), data, size < slot_size ? size : slot_size);

    const auto record = qx::acquisition::scan_frame_record(slot.get(), static_cast<std::int64_t>(slot_size));
    if (record.metadata == nullptr) {
        // No "VKO" magic: the whole slot is pixels.
        QX_FUZZ_REQUIRE(qx::device_qv::read_word(slot.get()) != qx::device_qv::magic_tag);
        QX_FUZZ_REQUIRE(record.image_data == reinterpret_cast<unsigned short*>(slot.get()));
        QX_FUZZ_REQUIRE(record.frame_count == 0 && record.metadata_size == 0);
    } else {
        QX_FUZZ_REQUIRE(record.metadata == slot.get());
        if (record.image_data == nullptr) {
            // No usable image offset, no pixels.
            QX_FUZZ_REQUIRE(record.metadata_size == 0);
        } else {
            // The pixels follow the record, and at least one lies inside the slot.
            const auto offset = reinterpret_cast<unsigned char*>(record.image_data) - slot.get();
            QX_FUZZ_REQUIRE(record.metadata_size >= 0 && offset == record.metadata_size);
            QX_FUZZ_REQUIRE(static_cast<std::size_t>(offset) + sizeof(unsigned short) <= slot_size);
        }
    }
    return 0;
}
