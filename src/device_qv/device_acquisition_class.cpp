#include "device_qv/device_acquisition_class.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "device_qv/frame_record_format.h"
#include "device_qv/pixel_unpacking.h"
#include "device_qv/qv_camera_class.h"
#include "platform/thread_name.h"

namespace qx::device_qv {

namespace {

constexpr std::uint32_t no_sequence = 0xFFFFFFFF;
constexpr std::int64_t free_slot_timeout_ms = 10;
constexpr std::int64_t pending_wait_step_ms = 100;
constexpr std::size_t metadata_scan_words = 4095;
constexpr std::size_t packed_source_offset = 56;
constexpr std::size_t packet_buffer_size = 32768;
constexpr std::uint32_t query_copy_length = 256;
constexpr auto failed_read_pause = std::chrono::milliseconds(10);

// Frees a calloc'ed block: the staging buffer is large, and calloc leaves
// its untouched pages unmapped.
struct free_deleter {
    void operator()(unsigned char* block) const { std::free(block); }
};
using staging_block = std::unique_ptr<unsigned char, free_deleter>;

// What the packet loop knows about the frame in progress.
struct assembly_state {
    bool in_frame = false;
    std::int64_t packets = 0;
    std::uint32_t previous_sequence = no_sequence;
    std::int64_t write_position_words = 0;
    std::int64_t metadata_length = 0;
    std::int64_t pixel_start = 0;
    std::int64_t expected_packets = 0;
    bool packed = false;

    void reset() {
        in_frame = false;
        packets = 0;
        previous_sequence = no_sequence;
    }
};

}  // namespace

device_acquisition_class::~device_acquisition_class() {
    shut_down();
}

std::shared_ptr<frame_slot_queue_class> device_acquisition_class::free_queue() {
    std::lock_guard<std::mutex> guard(queues_mutex);
    return free_slots;
}

std::shared_ptr<frame_slot_queue_class> device_acquisition_class::pending_queue() {
    std::lock_guard<std::mutex> guard(queues_mutex);
    return pending_slots;
}

void device_acquisition_class::arm(unsigned char* buffer, std::int64_t size) {
    std::lock_guard<std::recursive_mutex> commands(camera.command_lock);
    if (buffer == nullptr || size <= 0)
        throw std::runtime_error("A frame buffer must be provided to arm.");

    const int new_bit_depth = std::atoi(camera.query("pixel_bit_depth", query_copy_length).c_str());
    const int new_width = std::atoi(camera.query("image_width", query_copy_length).c_str());
    const int new_height = std::atoi(camera.query("image_height", query_copy_length).c_str());
    if (camera.column_balancing.enabled)
        camera.column_balancing.adapt_tables(camera);

    held_slot = nullptr;
    const std::int64_t new_pixel_bytes = static_cast<std::int64_t>(new_width) * new_height * 2;
    const std::int64_t new_slot_size =
        new_pixel_bytes + (camera.metadata_enabled.load() ? metadata_slot_reserve : 0);
    const std::int64_t slot_count = new_slot_size > 0 ? size / new_slot_size : 0;

    abort_requested.exchange(true);
    {
        // Under the packet loop's lock no slot of the old buffer is being
        // filled, so none is written once the queues are replaced.
        std::lock_guard<std::recursive_mutex> packet_loop_guard(camera.packet_loop_lock);
        if (auto old_free = free_queue())
            old_free->mark_complete();
        if (auto old_pending = pending_queue())
            old_pending->mark_complete();

        std::lock_guard<std::recursive_mutex> acquisition(camera.acquisition_lock);
        auto fresh_free = std::make_shared<frame_slot_queue_class>("free");
        auto fresh_pending = std::make_shared<frame_slot_queue_class>("pending");
        for (std::int64_t slot = 0; slot < slot_count; ++slot)
            fresh_free->push(buffer + slot * new_slot_size);

        bit_depth = new_bit_depth;
        width = new_width;
        height = new_height;
        pixel_bytes = new_pixel_bytes;
        slot_size = new_slot_size;
        buffer_start = buffer;
        buffer_last = buffer + size - 1;
        std::lock_guard<std::mutex> guard(queues_mutex);
        free_slots = std::move(fresh_free);
        pending_slots = std::move(fresh_pending);
    }

    if (!packet_loop.joinable()) {
        loop_stop_requested.store(false);
        packet_loop = std::thread([this] { run_packet_loop(); });
    }

    char reply[reply_area_size] = {};
    camera.send_command("arm", 4, reply, reply_area_size);
    abort_requested.exchange(false);
    stopped.exchange(false);
}

void device_acquisition_class::stop() {
    {
        std::lock_guard<std::recursive_mutex> commands(camera.command_lock);
        char reply[reply_area_size] = {};
        camera.send_command("stop", 5, reply, reply_area_size);
    }
    stopped.exchange(true);
}

unsigned char* device_acquisition_class::hand_over(unsigned char* slot) {
    std::lock_guard<std::recursive_mutex> commands(camera.command_lock, std::adopt_lock);
    if (held_slot != nullptr) {
        if (auto free = free_queue())
            free->push(held_slot);
    }
    held_slot = slot;
    if (slot != nullptr && camera.column_balancing.enabled) {
        camera.column_balancing.correct_frame(slot, width, height, camera.cached_gain);
    }
    return slot;
}

unsigned char* device_acquisition_class::wait_for_frame() {
    std::lock_guard<std::recursive_mutex> acquisition(camera.acquisition_lock);
    if (abort_requested.load())
        return nullptr;
    for (;;) {
        const auto pending = pending_queue();
        if (!pending)
            return nullptr;
        bool timed_out = false;
        unsigned char* slot = pending->pop(pending_wait_step_ms, timed_out);
        if (slot == nullptr && stopped.load())
            return nullptr;
        if (abort_requested.load())
            return nullptr;
        if (slot == nullptr) {
            // A completed queue answers at once; give an arm in progress its turn.
            if (!timed_out)
                std::this_thread::yield();
            continue;
        }
        // Arming holds the command lock while it waits for this thread's
        // acquisition lock; it raises the abort flag first, so give way to it
        // instead of blocking on the command lock.
        while (!camera.command_lock.try_lock()) {
            if (abort_requested.load())
                return nullptr;
            std::this_thread::yield();
        }
        return hand_over(slot);
    }
}

unsigned char* device_acquisition_class::poll_frame() {
    const auto pending = pending_queue();
    unsigned char* slot = nullptr;
    if (pending) {
        bool timed_out = false;
        slot = pending->pop(static_cast<std::int64_t>(camera.image_poll_timeout_ms.load()), timed_out);
    }
    camera.command_lock.lock();
    return hand_over(slot);
}

void device_acquisition_class::shut_down() noexcept {
    try {
        stopped.exchange(true);
        abort_requested.exchange(true);
        std::lock_guard<std::recursive_mutex> acquisition(camera.acquisition_lock);
        if (packet_loop.joinable()) {
            loop_stop_requested.exchange(true);
            if (packet_loop.get_id() == std::this_thread::get_id()) {
                packet_loop.detach();
            } else {
                packet_loop.join();
            }
        }
        std::lock_guard<std::mutex> guard(queues_mutex);
        free_slots.reset();
        pending_slots.reset();
    } catch (...) {
        // Destruction never fails.
    }
}

void device_acquisition_class::run_packet_loop() {
    platform::name_current_thread("ACQUISITION PACKET LOOP");
    loop_running.store(true);
    try {
        staging_block staging(static_cast<unsigned char*>(std::calloc(staging_buffer_size, 1)));
        staging_block packet(static_cast<unsigned char*>(std::calloc(packet_buffer_size, 1)));
        if (!staging || !packet)
            throw std::runtime_error("Cannot allocate the packet staging buffers.");
        camera.transport()->prime_image_channel();

        assembly_state frame;
        for (;;) {
            if (loop_stop_requested.load())
                break;
            bool timed_out = false;
            bool failed = false;
            bool stall = false;
            camera.transport()->read_image_data(packet.get(), packet_timeout_ms, timed_out, failed, stall);
            if (timed_out || failed || stall) {
                if (loop_stop_requested.load())
                    break;
            }

            // The packet is handled under the loop's lock, so that arming
            // never replaces the queues or the geometry in the middle of it;
            // the read itself waits outside, so arming never waits for it.
            std::lock_guard<std::recursive_mutex> pass(camera.packet_loop_lock);
            if (loop_stop_requested.load())
                break;
            if (stall) {
                frame.reset();
                camera.transport()->parent_reset(true);
                continue;
            }
            if (timed_out || failed) {
                frame.reset();
                // A failing link (an unplugged camera) fails every read at
                // once; pause so that the loop does not spin.
                if (failed && !timed_out)
                    std::this_thread::sleep_for(failed_read_pause);
                continue;
            }

            ++frame.packets;
            const unsigned char* payload = packet.get() + 4;
            const std::uint32_t header = read_word(packet.get());
            bool deliver = false;
            if (header != first_packet_header) {
                const std::uint32_t sequence = header >> 16;
                if (frame.previous_sequence != no_sequence && sequence - frame.previous_sequence != 1 &&
                    sequence != 1) {
                    frame.reset();
                    continue;
                }
                if (!frame.in_frame) {
                    frame.reset();
                    continue;
                }
                if (frame.packets <= frame.expected_packets) {
                    if (frame.write_position_words < staging_word_limit) {
                        std::memcpy(staging.get() + frame.write_position_words * 2, payload,
                                    image_payload_size);
                        frame.write_position_words += image_payload_size / 2;
                    }
                }
                frame.previous_sequence = sequence;
                if (frame.packets < frame.expected_packets)
                    continue;
                deliver = true;
            } else {
                // A first packet: find the metadata's end and the packing.
                std::int64_t metadata_start = -1;
                frame.packed = false;
                for (std::size_t word = 0; word + 1 < metadata_scan_words; word += 2) {
                    const std::uint32_t key = read_word(payload + word * 4);
                    const std::uint32_t value = read_word(payload + word * 4 + 4);
                    if (key == magic_tag)
                        metadata_start = static_cast<std::int64_t>(word * 4);
                    if (key == format_tag && (value & 1) != 0)
                        frame.packed = true;
                    if (key == end_tag) {
                        frame.pixel_start = static_cast<std::int64_t>(word * 4 + 8);
                        frame.metadata_length = frame.pixel_start - (metadata_start < 0 ? 0 : metadata_start);
                        break;
                    }
                }
                const std::int64_t pixels = static_cast<std::int64_t>(width) * height;
                std::int64_t stream_bytes = pixels * 2;
                if (frame.packed && bit_depth == 12)
                    stream_bytes = (pixels * 3 / 4) * 2;
                if (frame.packed && bit_depth == 10)
                    stream_bytes = pixels * 10 / 8;
                const std::int64_t total = frame.metadata_length + stream_bytes;
                frame.expected_packets = (total + image_payload_size - 1) / image_payload_size;

                if (camera.metadata_enabled.load()) {
                    std::memcpy(staging.get(), payload, image_payload_size);
                    frame.write_position_words = image_payload_size / 2;
                } else {
                    // The byte count is taken as a count of 16-bit words, so
                    // the next packet lands at twice that byte offset.
                    const std::int64_t kept = image_payload_size - frame.metadata_length;
                    if (kept > 0)
                        std::memcpy(staging.get(), payload + frame.pixel_start,
                                    static_cast<std::size_t>(kept));
                    frame.write_position_words = kept;
                }
                frame.in_frame = true;
                if (frame.expected_packets != 1) {
                    frame.packets = 1;
                    continue;
                }
                deliver = true;
            }
            if (!deliver)
                continue;

            const auto free = free_queue();
            const auto pending = pending_queue();
            bool no_slot = false;
            unsigned char* slot = free ? free->pop(free_slot_timeout_ms, no_slot) : nullptr;
            if (slot == nullptr || !pending) {
                // No free slot: the frame is lost, as on a camera whose host
                // does not keep up.
                frame.packets = 0;
                continue;
            }
            // Every copy stays inside its slot, whatever the stream claims.
            const std::int64_t room = slot_size;
            const std::int64_t metadata_bytes = std::min(frame.metadata_length, room);
            const bool packed12 = frame.packed && bit_depth == 12;
            const bool packed10 = frame.packed && bit_depth == 10;
            if (packed12 || packed10) {
                std::memcpy(slot, staging.get(), static_cast<std::size_t>(metadata_bytes));
                const std::int64_t destination_offset = frame.metadata_length & ~static_cast<std::int64_t>(1);
                const std::int64_t pixels = static_cast<std::int64_t>(width) * height;
                const std::int64_t groups_wanted =
                    packed12 ? ((pixels * 3 / 4) + 2) / 3 : (pixels * 10 / 8 + 4) / 5;
                const std::int64_t groups_fitting =
                    std::max<std::int64_t>(0, (room - destination_offset) / 8);
                const auto groups = static_cast<std::size_t>(std::min(groups_wanted, groups_fitting));
                auto* destination = reinterpret_cast<std::uint16_t*>(slot + destination_offset);
                if (packed12) {
                    unpack_12bit(staging.get() + packed_source_offset, destination, groups);
                } else {
                    unpack_10bit(staging.get() + packed_source_offset, destination, groups);
                }
            } else {
                const std::int64_t bytes = std::min(pixel_bytes + frame.metadata_length, room);
                std::memcpy(slot, staging.get(), static_cast<std::size_t>(bytes));
            }
            pending->push(slot);
            frame.in_frame = false;
            frame.previous_sequence = no_sequence;
        }
    } catch (const std::exception& failure) {
        std::printf("acq_function error: %s\n", failure.what());
    }
    loop_running.store(false);
}

}  // namespace qx::device_qv
