#include "device_qv/device_acquisition_class.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "device_qv/qv_camera_class.h"
#include "platform/thread_name.h"

namespace qx::device_qv {

namespace {

constexpr std::int64_t free_slot_timeout_ms = 10;
constexpr std::int64_t pending_wait_step_ms = 100;
constexpr std::uint32_t query_copy_length = 256;
constexpr auto failed_read_pause = std::chrono::milliseconds(10);

}  // namespace

device_acquisition_class::device_acquisition_class(qv_camera_class& owner)
    : camera(owner),
      command_lock(owner.command_mutex()),
      packet_loop_lock(owner.packet_loop_mutex()),
      acquisition_lock(owner.acquisition_mutex()) {}

device_acquisition_class::~device_acquisition_class() {
    shut_down();
}

std::shared_ptr<frame_slot_queue_class> device_acquisition_class::free_queue() {
    platform::scoped_lock_class guard(queues_mutex);
    return free_slots;
}

std::shared_ptr<frame_slot_queue_class> device_acquisition_class::pending_queue() {
    platform::scoped_lock_class guard(queues_mutex);
    return pending_slots;
}

void device_acquisition_class::arm(unsigned char* buffer, std::int64_t size) {
    platform::scoped_lock_class commands(command_lock);
    if (buffer == nullptr || size <= 0)
        throw std::runtime_error("A frame buffer must be provided to arm.");

    const int new_bit_depth = std::atoi(camera.query("pixel_bit_depth", query_copy_length).c_str());
    const int new_width = std::atoi(camera.query("image_width", query_copy_length).c_str());
    const int new_height = std::atoi(camera.query("image_height", query_copy_length).c_str());
    camera.adapt_column_correction();

    const std::int64_t new_pixel_bytes = static_cast<std::int64_t>(new_width) * new_height * 2;
    // Such a frame could never be assembled whole: refuse it rather than
    // lose every frame.
    if (new_pixel_bytes + image_payload_size > largest_assembled_frame_bytes) {
        throw std::runtime_error("A frame of " + std::to_string(new_width) + " x " + std::to_string(new_height) +
                                 " pixels is larger than the " + std::to_string(largest_assembled_frame_bytes) +
                                 " bytes the packet loop can assemble.");
    }
    held_slot = nullptr;
    // Slots of the old buffer stay with whoever holds them; the kit never
    // hands over a buffer that still has held frames.
    acquired_slots.clear();
    const bool metadata = camera.metadata_enabled.load();
    const std::int64_t new_slot_size = new_pixel_bytes + (metadata ? metadata_slot_reserve : 0);
    const std::int64_t slot_count = new_slot_size > 0 ? size / new_slot_size : 0;

    abort_requested.exchange(true);
    {
        // Under the packet loop's lock no slot of the old buffer is being
        // filled, so none is written once the queues are replaced.
        platform::scoped_lock_class packet_loop_guard(packet_loop_lock);
        if (auto old_free = free_queue())
            old_free->mark_complete();
        if (auto old_pending = pending_queue())
            old_pending->mark_complete();

        platform::scoped_lock_class acquisition(acquisition_lock);
        auto fresh_free = std::make_shared<frame_slot_queue_class>("free");
        auto fresh_pending = std::make_shared<frame_slot_queue_class>("pending");
        for (std::int64_t slot = 0; slot < slot_count; ++slot)
            fresh_free->push(buffer + slot * new_slot_size);

        bit_depth = new_bit_depth;
        width = new_width;
        height = new_height;
        slot_size = new_slot_size;
        buffer_start = buffer;
        buffer_last = buffer + size - 1;
        geometry = assembly_geometry{new_width, new_height, new_bit_depth, metadata};
        geometry_changed.store(true);
        arm_generation.fetch_add(1);
        platform::scoped_lock_class guard(queues_mutex);
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
        platform::scoped_lock_class commands(command_lock);
        char reply[reply_area_size] = {};
        camera.send_command("stop", 5, reply, reply_area_size);
    }
    stopped.exchange(true);
    wake_frame_waiters();
}

void device_acquisition_class::unblock() {
    abort_requested.exchange(true);
    wake_frame_waiters();
}

void device_acquisition_class::wake_frame_waiters() {
    // A wait polls its flags only between pops; end the pop in progress so
    // that stop and close need not wait out its step.
    if (auto pending = pending_queue())
        pending->wake_waiters();
}

unsigned char* device_acquisition_class::hand_over(unsigned char* slot) {
    if (held_slot != nullptr) {
        if (auto free = free_queue())
            free->push(held_slot);
    }
    held_slot = slot;
    correct(slot);
    return slot;
}

void device_acquisition_class::correct(unsigned char* slot) {
    if (slot != nullptr)
        camera.correct_columns(slot, width, height);
}

unsigned char* device_acquisition_class::acquire_frame(std::int64_t timeout_ms) {
    if (timeout_ms < 0)
        throw std::invalid_argument("timeout_ms");
    const auto pending = pending_queue();
    if (!pending)
        return nullptr;
    bool timed_out = false;
    unsigned char* slot = pending->pop(timeout_ms, timed_out);
    if (slot == nullptr)
        return nullptr;
    platform::scoped_lock_class commands(command_lock);
    // An arm between the pop and here replaced the buffer: the slot is not
    // this arm's to hold.
    if (slot < buffer_start || slot > buffer_last)
        return nullptr;
    acquired_slots.insert(slot);
    correct(slot);
    return slot;
}

void device_acquisition_class::release_frame(unsigned char* slot) {
    platform::scoped_lock_class commands(command_lock);
    if (acquired_slots.erase(slot) == 0)
        return;
    if (auto free = free_queue())
        free->push(slot);
}

stream_statistics_record device_acquisition_class::statistics() const {
    return stream_statistics_record{
        counted.frames_delivered.load(), counted.frames_lost_incomplete.load(),
        counted.frames_lost_no_free_slot.load(), counted.stalls_recovered.load(),
        counted.resets.load(), counted.bytes_received.load(), counted.packets_received.load()};
}

unsigned char* device_acquisition_class::wait_for_frame() {
    unsigned char* slot = nullptr;
    std::uint64_t popped_in_arm = 0;
    {
        platform::scoped_lock_class acquisition(acquisition_lock);
        if (abort_requested.load())
            return nullptr;
        for (;;) {
            const auto pending = pending_queue();
            if (!pending)
                return nullptr;
            popped_in_arm = arm_generation.load();
            bool timed_out = false;
            // Once stopped, only frames already pending are handed out:
            // nothing more will come, so the wait does not linger.
            slot = pending->pop(stopped.load() ? 0 : pending_wait_step_ms, timed_out);
            if (slot == nullptr && stopped.load())
                return nullptr;
            if (abort_requested.load())
                return nullptr;
            if (slot != nullptr)
                break;
            // A completed queue answers at once; give an arm in progress its turn.
            if (!timed_out)
                std::this_thread::yield();
        }
    }
    // The hand-over takes the command lock only after the acquisition lock
    // is released: arming holds the command lock while it takes the
    // acquisition lock, so the two are never waited for the other way round.
    // An arm that ran in between replaced the queues and the slots; the slot
    // popped before it is not handed out.
    platform::scoped_lock_class commands(command_lock);
    if (abort_requested.load() || arm_generation.load() != popped_in_arm)
        return nullptr;
    return hand_over(slot);
}

unsigned char* device_acquisition_class::poll_frame() {
    const auto pending = pending_queue();
    unsigned char* slot = nullptr;
    if (pending) {
        bool timed_out = false;
        slot = pending->pop(static_cast<std::int64_t>(camera.image_poll_timeout_ms.load()), timed_out);
    }
    platform::scoped_lock_class commands(command_lock);
    return hand_over(slot);
}

void device_acquisition_class::shut_down() noexcept {
    try {
        stopped.exchange(true);
        abort_requested.exchange(true);
        platform::scoped_lock_class acquisition(acquisition_lock);
        if (packet_loop.joinable()) {
            loop_stop_requested.exchange(true);
            // The loop may be waiting on a read: end it now rather than
            // after the read's time-out.
            camera.transport()->wake_image_reader();
            if (packet_loop.get_id() == std::this_thread::get_id()) {
                packet_loop.detach();
            } else {
                packet_loop.join();
            }
        }
        platform::scoped_lock_class guard(queues_mutex);
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
        packet_assembler_class assembler;
        std::vector<unsigned char> packet(image_packet_size);
        camera.transport()->prime_image_channel();

        for (;;) {
            if (loop_stop_requested.load())
                break;
            bool timed_out = false;
            bool failed = false;
            bool stall = false;
            camera.transport()->read_image_data(packet.data(), packet_timeout_ms, timed_out, failed, stall);

            // The packet is handled under the loop's lock, so that arming
            // never replaces the queues or the geometry in the middle of it;
            // the read itself waits outside, so arming never waits for it.
            platform::scoped_lock_class pass(packet_loop_lock);
            if (loop_stop_requested.load())
                break;
            if (geometry_changed.exchange(false))
                assembler.set_geometry(geometry);
            if (stall || timed_out || failed) {
                assembler.abandon_frame();
                counted.frames_lost_incomplete.store(assembler.frames_lost_incomplete());
                if (stall) {
                    camera.transport()->parent_reset(true);
                    counted.resets.fetch_add(1);
                    counted.stalls_recovered.fetch_add(1);
                } else if (failed && !timed_out) {
                    // A failing link (an unplugged camera) fails every read
                    // at once; pause so that the loop does not spin.
                    std::this_thread::sleep_for(failed_read_pause);
                }
                continue;
            }
            counted.packets_received.fetch_add(1);
            counted.bytes_received.fetch_add(image_packet_size);
            const auto outcome = assembler.add_packet(packet.data());
            if (outcome == packet_assembler_class::outcome::frame_complete)
                hand_off_frame(assembler);
            counted.frames_lost_incomplete.store(assembler.frames_lost_incomplete());
        }
    } catch (const std::exception& failure) {
        std::printf("acq_function error: %s\n", failure.what());
    }
    loop_running.store(false);
}

void device_acquisition_class::hand_off_frame(packet_assembler_class& assembler) {
    const auto free = free_queue();
    const auto pending = pending_queue();
    bool no_slot = false;
    unsigned char* slot = free ? free->pop(free_slot_timeout_ms, no_slot) : nullptr;
    if (slot == nullptr || !pending) {
        // Every slot is full or held: the whole frame is lost, and counted.
        counted.frames_lost_no_free_slot.fetch_add(1);
        return;
    }
    if (!assembler.fill_slot(slot, slot_size)) {
        free->push(slot);
        return;
    }
    pending->push(slot);
    counted.frames_delivered.fetch_add(1);
}

}  // namespace qx::device_qv
