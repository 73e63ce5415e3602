#pragma once
// The stream counters as the device's "stream_statistics" command hands them
// to the kit: 64-bit counts in this order, a record that only grows at its end.

#include <cstdint>

namespace qx::device_qv {

struct stream_statistics_record {
    std::uint64_t frames_delivered;
    std::uint64_t frames_lost_incomplete;
    std::uint64_t frames_lost_no_free_slot;
    std::uint64_t stalls_recovered;
    std::uint64_t resets;
    std::uint64_t bytes_received;
    std::uint64_t packets_received;
};

}  // namespace qx::device_qv
