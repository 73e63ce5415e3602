// The packet assembler on whole 2448 x 2048 packed 12-bit frames: packets
// in, a filled slot out. Reported as a ratio to the baseline of copying the
// same stream bytes once with memcpy, measured in the same run.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "device_qv/packet_assembler_class.h"

namespace {

using qx::device_qv::image_packet_size;
using qx::device_qv::image_payload_size;

constexpr int width = 2448;
constexpr int height = 2048;
constexpr std::size_t metadata_bytes = 56;

std::vector<std::vector<unsigned char>> frame_packets() {
    std::vector<unsigned char> stream(metadata_bytes + width * height * 3 / 2);
    const std::pair<const char*, std::uint32_t> pairs[] = {{"VKO\0", 1}, {"FCNT", 1}, {"IOFF", 7}, {"IFMT", 1},
                                                           {"TSLO", 0},   {"TSHI", 0}, {"ENDT", 0}};
    std::size_t at = 0;
    for (const auto& [tag, value] : pairs) {
        std::memcpy(stream.data() + at, tag, 4);
        std::memcpy(stream.data() + at + 4, &value, 4);
        at += 8;
    }
    for (std::size_t byte = metadata_bytes; byte < stream.size(); ++byte) stream[byte] = static_cast<unsigned char>(byte);
    std::vector<std::vector<unsigned char>> packets;
    for (std::size_t start = 0; start < stream.size(); start += image_payload_size) {
        std::vector<unsigned char> packet(image_packet_size, 0);
        const auto index = static_cast<std::uint32_t>(packets.size());
        const std::uint32_t header = index == 0 ? qx::device_qv::first_packet_header : index << 16;
        std::memcpy(packet.data(), &header, 4);
        std::memcpy(packet.data() + 4, stream.data() + start, std::min<std::size_t>(image_payload_size, stream.size() - start));
        packets.push_back(std::move(packet));
    }
    return packets;
}

const std::vector<std::vector<unsigned char>>& packets() {
    static const auto made = frame_packets();
    return made;
}

void baseline_copy_of_the_stream(benchmark::State& state) {
    std::vector<unsigned char> destination(packets().size() * image_payload_size);
    for (auto _ : state) {
        std::size_t at = 0;
        for (const auto& packet : packets()) {
            std::memcpy(destination.data() + at, packet.data() + 4, image_payload_size);
            at += image_payload_size;
        }
        benchmark::DoNotOptimize(destination.data());
    }
    state.SetItemsProcessed(state.iterations());
}

void assembled_into_a_slot(benchmark::State& state) {
    qx::device_qv::packet_assembler_class assembler;
    assembler.set_geometry({width, height, 12, true});
    std::vector<unsigned char> slot(width * height * 2 + qx::device_qv::metadata_slot_reserve);
    for (auto _ : state) {
        for (const auto& packet : packets()) {
            if (assembler.add_packet(packet.data()) == qx::device_qv::packet_assembler_class::outcome::frame_complete)
                assembler.fill_slot(slot.data(), static_cast<std::int64_t>(slot.size()));
        }
        benchmark::DoNotOptimize(slot.data());
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(baseline_copy_of_the_stream)->Unit(benchmark::kMillisecond);
BENCHMARK(assembled_into_a_slot)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
