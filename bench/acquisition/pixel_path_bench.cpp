// The per-frame work of the image path on a 2448 x 2048 frame: unpacking of
// packed pixels, column correction, and the packet loop's assembly of
// 16,384-byte packets into frame slots. Each figure is also reported as a
// ratio to memcpy of the same bytes, measured in the same run.

#include <benchmark/benchmark.h>

#include <cstring>
#include <deque>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "device_qv/column_balancing_class.h"
#include "device_qv/pixel_unpacking.h"
#include "device_qv/qv_camera_class.h"
#include "usb/usb_driver_base.h"

namespace {

using namespace qx::device_qv;

constexpr int frame_width = 2448;
constexpr int frame_height = 2048;
constexpr std::size_t pixel_count = static_cast<std::size_t>(frame_width) * frame_height;
constexpr std::size_t frame_bytes = pixel_count * 2;

std::vector<std::uint8_t> random_bytes(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::mt19937 random(1);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

// Seconds per memcpy of `bytes`, measured once per benchmark run.
double memcpy_seconds(std::size_t bytes) {
    std::vector<std::uint8_t> source = random_bytes(bytes);
    std::vector<std::uint8_t> destination(bytes);
    constexpr int rounds = 20;
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round) {
        std::memcpy(destination.data(), source.data(), bytes);
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / rounds;
}

// Reports bytes per second and the time of one iteration relative to a
// memcpy of `compared_bytes` (1.0: as fast as copying them).
void report(benchmark::State& state, std::size_t bytes_per_iteration, std::size_t compared_bytes,
            double seconds_per_iteration) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes_per_iteration));
    state.counters["time_vs_memcpy"] = seconds_per_iteration / memcpy_seconds(compared_bytes);
}

template <class Work>
double time_iterations(benchmark::State& state, Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    std::int64_t count = 0;
    for (auto _ : state) {
        work();
        ++count;
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
           static_cast<double>(count);
}

void unpack_12bit_frame(benchmark::State& state) {
    const auto packed = random_bytes(pixel_count * 3 / 2);
    std::vector<std::uint16_t> pixels(pixel_count);
    const double seconds = time_iterations(state, [&] {
        unpack_12bit(packed.data(), pixels.data(), pixel_count / 4);
        benchmark::DoNotOptimize(pixels.data());
    });
    state.SetLabel(unpacking_implementation_name());
    report(state, frame_bytes, frame_bytes, seconds);
}
BENCHMARK(unpack_12bit_frame)->Unit(benchmark::kMillisecond)->UseRealTime();

void unpack_10bit_frame(benchmark::State& state) {
    const auto packed = random_bytes(pixel_count * 5 / 4);
    std::vector<std::uint16_t> pixels(pixel_count);
    const double seconds = time_iterations(state, [&] {
        unpack_10bit(packed.data(), pixels.data(), pixel_count / 4);
        benchmark::DoNotOptimize(pixels.data());
    });
    state.SetLabel(unpacking_implementation_name());
    report(state, frame_bytes, frame_bytes, seconds);
}
BENCHMARK(unpack_10bit_frame)->Unit(benchmark::kMillisecond)->UseRealTime();

void unpack_12bit_frame_scalar(benchmark::State& state) {
    const auto packed = random_bytes(pixel_count * 3 / 2);
    std::vector<std::uint16_t> pixels(pixel_count);
    const double seconds = time_iterations(state, [&] {
        unpack_12bit_scalar(packed.data(), pixels.data(), pixel_count / 4);
        benchmark::DoNotOptimize(pixels.data());
    });
    report(state, frame_bytes, frame_bytes, seconds);
}
BENCHMARK(unpack_12bit_frame_scalar)->Unit(benchmark::kMillisecond)->UseRealTime();

// A transport that answers the arm sequence from a table and replays one
// frame's packets as fast as they are read.
class replay_transport final : public qx::usb::usb_driver_base {
  public:
    replay_transport(bool packed) : usb_driver_base("REPLAY:BENCH") {
        const std::size_t stream_bytes = packed ? pixel_count * 3 / 2 : frame_bytes;
        const std::size_t total = 56 + stream_bytes;
        const std::size_t packet_count = (total + 16379) / 16380;
        std::vector<std::uint8_t> stream(packet_count * 16380, 0);
        const std::uint32_t words[14] = {0x004F4B56, 1,          0x544E4346,       7,          0x46464F49,
                                         7,          0x544D4649, packed ? 1u : 0u, 0x4F4C5354, 0,
                                         0x49485354, 0,          0x54444E45,       0};
        std::memcpy(stream.data(), words, sizeof words);
        const auto pixels = random_bytes(stream_bytes);
        std::memcpy(stream.data() + 56, pixels.data(), stream_bytes);
        for (std::size_t index = 0; index < packet_count; ++index) {
            std::vector<std::uint8_t> packet(16384, 0);
            const std::uint32_t header = index == 0 ? 0x9090u : static_cast<std::uint32_t>(index) << 16;
            std::memcpy(packet.data(), &header, 4);
            std::memcpy(packet.data() + 4, stream.data() + index * 16380, 16380);
            packets.push_back(std::move(packet));
        }
        replies = {{"id", "BENCH"},
                   {"sernum", "BENCH"},
                   {"prnu crc 0", "none"},
                   {"pixel_bit_depth", "12"},
                   {"image_width", std::to_string(frame_width)},
                   {"image_height", std::to_string(frame_height)}};
    }

    void write(std::uint32_t, const void* bytes, std::uint32_t, bool& timed_out, bool& stalled) override {
        timed_out = stalled = false;
        std::lock_guard<std::mutex> guard(mutex);
        last_command = static_cast<const char*>(bytes);
    }
    void read__blocking(std::uint32_t, void* destination, std::uint32_t, bool& timed_out, bool& failed,
                        bool& stalled) override {
        timed_out = failed = stalled = false;
        std::lock_guard<std::mutex> guard(mutex);
        std::string reply = "Success";
        for (const auto& [command, answer] : replies) {
            if (command == last_command)
                reply = answer;
        }
        std::memset(destination, 0, 1024);
        std::memcpy(destination, reply.c_str(), reply.size());
    }
    std::string get_usb_port_speed() override { return "USB 3.0"; }
    void read_image_data(void* destination, std::uint32_t, bool& timed_out, bool& failed,
                         bool& stalled) override {
        timed_out = failed = stalled = false;
        std::memcpy(destination, packets[next].data(), 16384);
        next = (next + 1) % packets.size();
    }
    void prime_image_channel() override {}
    void wake_image_reader() noexcept override {}
    bool get_is_endpoint_stalled(int, bool) override { return false; }
    void unstall_endpoint(int, bool) override {}
    void reset_parent_port() override {}

  private:
    std::mutex mutex;
    std::string last_command;  // guarded by mutex
    std::vector<std::pair<std::string, std::string>> replies;
    std::vector<std::vector<std::uint8_t>> packets;
    std::size_t next = 0;  // used by the packet loop only
};

void assemble_frames(benchmark::State& state, bool packed) {
    replay_transport transport(packed);
    qv_camera_class camera(&transport);
    camera.metadata_enabled.store(true);
    const std::size_t slot_bytes = frame_bytes + 16384;
    std::vector<unsigned char> buffer(slot_bytes * 4);
    camera.acquisition.arm(buffer.data(), static_cast<std::int64_t>(buffer.size()));
    camera.image_poll_timeout_ms.store(2000);
    const double seconds = time_iterations(state, [&] {
        unsigned char* frame = camera.acquisition.poll_frame();
        if (frame == nullptr)
            state.SkipWithError("no frame assembled");
        benchmark::DoNotOptimize(frame);
    });
    report(state, frame_bytes, frame_bytes, seconds);
}
void assemble_unpacked_frames(benchmark::State& state) {
    assemble_frames(state, false);
}
void assemble_packed_12bit_frames(benchmark::State& state) {
    assemble_frames(state, true);
}
BENCHMARK(assemble_unpacked_frames)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(assemble_packed_12bit_frames)->Unit(benchmark::kMillisecond)->UseRealTime();

void correct_columns(benchmark::State& state) {
    column_balancing_class tables;
    // A table loaded by hand: the benchmark needs no camera.
    std::vector<unsigned char> slot(56 + frame_bytes);
    const auto pixels = random_bytes(frame_bytes);
    std::memcpy(slot.data() + 56, pixels.data(), frame_bytes);
    tables.enabled = true;
    const std::vector<float> factors(frame_width, 1.0625f);
    tables.set_working_row(0, factors.data(), frame_width);
    const double seconds = time_iterations(state, [&] {
        tables.correct_frame(slot.data(), frame_width, frame_height, 0);
        benchmark::DoNotOptimize(slot.data());
    });
    report(state, frame_bytes, frame_bytes, seconds);
}
BENCHMARK(correct_columns)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
