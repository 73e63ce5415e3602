// Fuzzes the packet assembler with a frame geometry and any sequence of
// packets and failed reads. Checks: a frame is complete only after a first
// packet followed by continuation packets numbered 1, 2, 3 ... with no failed
// read between; filling a slot writes only inside it (the slot is its own
// heap block, so the address sanitizer sees any write past it); the loss
// counter never goes down.
//
// Input: width (2 bytes), height (2 bytes), bit depth (1 byte), flags
// (1 byte: bit 0 metadata on), slot shortfall (2 bytes), then records:
// kind 0: a packet, given as its header word (4 bytes), a length (2 bytes)
// and that many payload bytes (the rest of the packet repeats them);
// any other kind: a failed read.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/frame_record_format.h"
#include "device_qv/packet_assembler_class.h"

namespace {

using qx::device_qv::packet_assembler_class;

struct input_reader {
    const std::uint8_t* at;
    std::size_t left;

    bool take(void* out, std::size_t count) {
        if (left < count)
            return false;
        std::memcpy(out, at, count);
        at += count;
        left -= count;
        return true;
    }
};

void require(bool condition) {
    if (!condition)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static packet_assembler_class assembler;  // one staging block for the whole run
    input_reader input{data, size};
    std::uint16_t width = 0, height = 0, shortfall = 0;
    std::uint8_t bit_depth = 0, flags = 0;
    if (!input.take(&width, 2) || !input.take(&height, 2) || !input.take(&bit_depth, 1) || !input.take(&flags, 1) ||
        !input.take(&shortfall, 2))
        return 0;
    const bool metadata = (flags & 1) != 0;
    assembler.set_geometry({width, height, bit_depth, metadata});
    const std::int64_t slot_size =
        std::max<std::int64_t>(1, std::int64_t{width} * height * 2 +
                                      (metadata ? qx::device_qv::metadata_slot_reserve : 0) - shortfall);

    std::vector<unsigned char> packet(qx::device_qv::image_packet_size);
    std::int64_t next_sequence = -1;  // the oracle: -1 outside a frame
    std::uint64_t lost = assembler.frames_lost_incomplete();
    for (;;) {
        std::uint8_t kind = 0;
        if (!input.take(&kind, 1))
            break;
        if (kind != 0) {
            assembler.abandon_frame();
            next_sequence = -1;
        } else {
            std::uint32_t header = 0;
            std::uint16_t length = 0;
            if (!input.take(&header, 4) || !input.take(&length, 2))
                break;
            length = static_cast<std::uint16_t>(std::min<std::size_t>({length, input.left, packet.size() - 4}));
            std::memcpy(packet.data(), &header, 4);
            if (length == 0) {
                std::memset(packet.data() + 4, 0, packet.size() - 4);
            } else {
                // The given bytes, then the packet so far doubled until full.
                std::memcpy(packet.data() + 4, input.at, length);
                for (std::size_t filled = length; 4 + filled < packet.size(); filled *= 2)
                    std::memcpy(packet.data() + 4 + filled, packet.data() + 4,
                                std::min(filled, packet.size() - 4 - filled));
            }
            input.at += length;
            input.left -= length;

            const bool first = header == qx::device_qv::first_packet_header;
            if (first) {
                next_sequence = 1;
            } else if (next_sequence >= 1 && (header >> 16) == next_sequence) {
                ++next_sequence;
            } else {
                next_sequence = -1;
            }
            const auto outcome = assembler.add_packet(packet.data());
            if (outcome == packet_assembler_class::outcome::frame_complete) {
                require(next_sequence >= 1);  // whole and in order since a first packet
                std::vector<unsigned char> slot(static_cast<std::size_t>(slot_size));
                if (assembler.fill_slot(slot.data(), slot_size) && metadata)
                    require(qx::device_qv::read_word(slot.data()) == qx::device_qv::magic_tag);
                next_sequence = -1;
            }
        }
        const std::uint64_t now_lost = assembler.frames_lost_incomplete();
        require(now_lost >= lost);
        lost = now_lost;
    }
    return 0;
}
