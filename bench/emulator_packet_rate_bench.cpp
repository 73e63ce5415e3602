// Packet rate of a default 2448 x 2048 virtual camera streaming as fast as it
// can, as a ratio to memcpy of the same bytes measured in the same run. A
// ratio near 1 means producing a packet costs about one copy of it.

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "quendral_vko_camera_emulator.h"

namespace {

// CPU time of this thread: the machine may be shared, and waiting for a core
// is neither the emulator's cost nor memcpy's.
double thread_cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

constexpr std::size_t frame_bytes = 56 + 2448 * 2048 * 2;

// Copies @p packets packets of 16,384 bytes out of a frame-sized buffer, one
// after the other as a stream does, and answers the seconds taken.
double seconds_for_memcpy(std::size_t packets) {
    static std::vector<std::uint8_t> frame(frame_bytes + QX_EMU_PACKET_SIZE, 0x5A);
    std::vector<std::uint8_t> packet(QX_EMU_PACKET_SIZE);
    std::size_t offset = 0;
    const double begin = thread_cpu_seconds();
    for (std::size_t i = 0; i < packets; ++i) {
        std::memcpy(packet.data(), frame.data() + offset, packet.size());
        benchmark::DoNotOptimize(packet.data());
        benchmark::ClobberMemory();
        offset = offset + packet.size() > frame_bytes ? 0 : offset + packet.size();
    }
    return thread_cpu_seconds() - begin;
}

std::string command(qx_emu_device* device, const std::string& text) {
    const std::string bytes = text + '\0';
    char reply[QX_EMU_REPLY_SIZE] = {};
    std::size_t transferred = 0;
    if (qx_emu_device_write(device, bytes.data(), bytes.size(), 1000) != QX_EMU_OK ||
        qx_emu_device_read(device, reply, sizeof reply, &transferred, 1000) != QX_EMU_OK) {
        return qx_emu_get_last_error();
    }
    return reply;
}

void emulator_packet_rate(benchmark::State& state) {
    char path[64] = {};
    if (qx_emu_reset(R"([{"pacing":"fast"}])") != QX_EMU_OK ||
        qx_emu_get_camera_path(nullptr, 0, path, sizeof path) != QX_EMU_OK) {
        state.SkipWithError(qx_emu_get_last_error());
        return;
    }
    qx_emu_device* device = qx_emu_device_open(path);
    if (device == nullptr || command(device, "start") != "Success") {
        state.SkipWithError("the camera did not start");
        return;
    }
    std::vector<std::uint8_t> packet(QX_EMU_PACKET_SIZE);
    // Two frames first, so that the pattern's row cache is as warm as in a long stream.
    for (int i = 0; i < 2 * 613; ++i) {
        qx_emu_device_read_packet(device, packet.data(), 1000);
    }
    std::size_t packets = 0;
    const double begin = thread_cpu_seconds();
    for (auto _ : state) {
        if (qx_emu_device_read_packet(device, packet.data(), 1000) != QX_EMU_OK) {
            state.SkipWithError(qx_emu_get_last_error());
            break;
        }
        benchmark::DoNotOptimize(packet.data());
        ++packets;
    }
    const double emulator_seconds = thread_cpu_seconds() - begin;
    command(device, "stop");
    qx_emu_device_close(device);

    const double memcpy_seconds = seconds_for_memcpy(packets);
    const double emulator_rate = static_cast<double>(packets) / emulator_seconds;
    const double memcpy_rate = static_cast<double>(packets) / memcpy_seconds;
    state.counters["packets_per_second"] = emulator_rate;
    state.counters["memcpy_packets_per_second"] = memcpy_rate;
    state.counters["ratio_to_memcpy"] = emulator_rate / memcpy_rate;
    state.SetBytesProcessed(static_cast<std::int64_t>(packets * QX_EMU_PACKET_SIZE));
}

BENCHMARK(emulator_packet_rate)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
