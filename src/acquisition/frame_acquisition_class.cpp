#include "acquisition/frame_acquisition_class.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "acquisition/acquisition_handle_port.h"
#include "base/checks.h"
#include "base/frame_record_format.h"
#include "base/number_conversion.h"
#include "base/stream_statistics_record.h"
#include "camera/firmware_phrases.h"
#include "platform/thread_name.h"

namespace qx::acquisition {

namespace {

constexpr std::size_t reply_buffer_size = 1024;
constexpr std::size_t data_text_size = 256;
constexpr int record_pair_limit = 2048;
constexpr const char* not_supported_text = "Command is not supported.";
constexpr char unblock_command[] = "unblock_image_wait_for_frame";

// The frame loops' and the polls' reply buffers. Nothing reads them but the
// firmware-phrase scan right after each call, so each thread has its own and
// concurrent cameras never write the same bytes.
thread_local char frame_loop_reply[reply_buffer_size];
thread_local char poll_reply[reply_buffer_size];

// The acquisition whose frame loop runs on this thread, if any.
thread_local const frame_acquisition_class* frame_loop_owner = nullptr;

std::uint32_t word_at(const unsigned char* slot, std::size_t index) {
    return device_qv::read_word(slot + index * 4);
}

double now_in_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A text of up to 255 characters in a zero-filled 256-byte block: how
// values travel as an exchange's data.
struct data_text {
    explicit data_text(std::string_view text) {
        std::memcpy(bytes, text.data(), text.size() < sizeof bytes - 1 ? text.size() : sizeof bytes - 1);
    }
    char bytes[data_text_size] = {};
};

}  // namespace

frame_record scan_frame_record(unsigned char* slot, std::int64_t slot_size) {
    frame_record record;
    if (word_at(slot, 0) != device_qv::magic_tag) {
        record.image_data = reinterpret_cast<unsigned short*>(slot);
        return record;
    }
    bool offset_seen = false;
    for (int pair = 0; pair < record_pair_limit && pair * 2 < 4095; ++pair) {
        const std::uint32_t key = word_at(slot, static_cast<std::size_t>(pair) * 2);
        const std::uint32_t value = word_at(slot, static_cast<std::size_t>(pair) * 2 + 1);
        if (key == device_qv::frame_count_tag)
            record.frame_count = static_cast<int>(value);
        if (key == device_qv::pixel_offset_tag) {
            // An offset that leaves no pixel inside the slot is corrupt.
            offset_seen = static_cast<std::int64_t>(value) * 8 < slot_size &&
                          static_cast<std::int64_t>(value) * 8 <= INT32_MAX;
            if (!offset_seen)
                continue;
            record.metadata_size = static_cast<int>(value * 8);
            record.image_data = reinterpret_cast<unsigned short*>(slot + static_cast<std::size_t>(value) * 8);
        }
        if (key == device_qv::end_tag)
            break;
    }
    record.metadata = slot;
    if (!offset_seen) {
        record.image_data = nullptr;
        record.metadata_size = 0;
    }
    return record;
}

frame_acquisition_class::~frame_acquisition_class() {
    stop_remaining_frame_loop();
}

void frame_acquisition_class::arm(acquisition_handle_port& handle, int number_of_frames_to_buffer) {
    for (;;) {
        std::unique_ptr<std::thread> stopping;
        handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
            arm_or_take_stopping_loop(handle, number_of_frames_to_buffer, stopping);
        });
        if (!stopping)
            return;
        // A loop still running (after a disarm from its own callback, or a
        // refused "stop") hands out no more frames. Its callback may still
        // call this handle, so it is joined without the handle mutex, and
        // the arm starts over: another thread may have armed meanwhile.
        stopping->join();
    }
}

void frame_acquisition_class::arm_or_take_stopping_loop(acquisition_handle_port& handle,
                                                        int number_of_frames_to_buffer,
                                                        std::unique_ptr<std::thread>& stopping) {
    // Arming restarts the frame loop, which the loop cannot do to itself.
    kit::check_false(called_from_frame_loop(), "A camera cannot be armed from its own frame callback.");
    if (number_of_frames_to_buffer < 2)
        throw std::invalid_argument("number_of_frames_to_buffer");
    kit::check_false(armed, "Camera is already armed.");
    if (frame_loop) {
        // A wait for a frame that will not come (a refused "stop") ends too.
        handle.channel().set_exchange(unblock_command, sizeof unblock_command, nullptr, 0,
                                      handle.reply_buffer(),
                                      static_cast<std::int32_t>(camera::handle_response_size), false);
        stop_requested.exchange(true);
        stopping = std::move(frame_loop);
        return;
    }

    auto& channel = handle.channel();
    const data_text metadata_on("on");
    channel.set_exchange("image_metadata", 15, metadata_on.bytes, data_text_size, handle.reply_buffer(),
                         static_cast<std::int32_t>(camera::handle_response_size), false);

    bool supported = true;
    channel.get_exchange("acquisition_bytes_per_frame", 28, nullptr, 0, handle.reply_buffer(),
                         camera::handle_response_size, true, supported);
    kit::check_true(supported, not_supported_text);
    const int bytes_per_frame = camera::to_int(handle.reply_buffer());

    const std::int64_t wanted = static_cast<std::int64_t>(number_of_frames_to_buffer) * bytes_per_frame;
    if (wanted <= 0 || wanted > INT32_MAX)
        throw std::out_of_range("Frame buffer size is out of range.");
    // The old block stays alive until the device has taken the new one,
    // so no slot of it is written after it is freed. Held frames keep
    // theirs alive, and a block with held frames is never handed over
    // again, so no held frame is overwritten.
    std::shared_ptr<unsigned char[]> replaced;
    const bool frames_held = held_frames && held_frames->has_held_frames();
    if (wanted != frame_buffer_size || frames_held) {
        std::shared_ptr<unsigned char[]> fresh(new unsigned char[static_cast<std::size_t>(wanted)]());
        replaced = std::exchange(frame_buffer, std::move(fresh));
        frame_buffer_size = static_cast<std::int32_t>(wanted);
    }
    slot_size = bytes_per_frame;
    if (held_frames)
        held_frames->begin_arm();
    channel.set_exchange("arm", 4, frame_buffer.get(), static_cast<std::uint64_t>(frame_buffer_size),
                         handle.reply_buffer(), static_cast<std::int32_t>(camera::handle_response_size),
                         false);

    if (callback != nullptr)
        start_frame_loop(handle);
    armed = true;
}

void frame_acquisition_class::disarm(acquisition_handle_port& handle) {
    std::unique_ptr<std::thread> running;
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        // Cleared before "stop" is sent, so a refused "stop" still leaves the
        // handle disarmed.
        armed = false;
        handle.channel().set_exchange("stop", 5, nullptr, 0, handle.reply_buffer(),
                                      static_cast<std::int32_t>(camera::handle_response_size), false);
        // From the callback the loop is only told to stop; it ends when the
        // callback returns and the next arm or the close joins it.
        if (called_from_frame_loop())
            stop_requested.exchange(true);
        else
            running = std::move(frame_loop);
    });
    // Joined without the handle mutex: the frame loop takes it for every frame.
    if (running) {
        stop_requested.exchange(true);
        running->join();
    }
}

void frame_acquisition_class::issue_software_trigger(acquisition_handle_port& handle) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        handle.channel().set_exchange("start", 6, nullptr, 0, handle.reply_buffer(),
                                      static_cast<std::int32_t>(camera::handle_response_size), false);
    });
}

void frame_acquisition_class::set_frame_available_callback(acquisition_handle_port& handle,
                                                           frame_available_callback new_callback,
                                                           void* context) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_false(armed, "Callback cannot be set while the camera is armed.");
        callback = new_callback;
        callback_context = context;
    });
}

void frame_acquisition_class::get_frame_available_callback(acquisition_handle_port& handle,
                                                           frame_available_callback* stored) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(stored, "pointer_to_pointer_to_frame_available_callback");
        *stored = callback;
    });
}

void frame_acquisition_class::get_pending_frame(acquisition_handle_port& handle, unsigned short** image_data,
                                                int* frame_count, unsigned char** metadata,
                                                int* metadata_size) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(image_data, "image_buffer_param");
        kit::check_argument(frame_count, "frame_count");
        kit::check_argument(metadata, "metadata");
        kit::check_argument(metadata_size, "metadata_size_in_bytes");
        kit::check_pointer_null(reinterpret_cast<void*>(callback),
                                "This polling function can only be used when no callback is registered.");

        std::uint64_t frame = 0;
        poll_reply[0] = '\0';
        bool supported = true;
        handle.channel().get_exchange("image_poll", 11, &frame, 1, poll_reply, reply_buffer_size, false,
                                      supported);
        kit::check_true(supported, not_supported_text);
        if (frame == 0) {
            *image_data = nullptr;
            *frame_count = 0;
            *metadata = nullptr;
            *metadata_size = 0;
            return;
        }
        const frame_record record = scan_frame_record(reinterpret_cast<unsigned char*>(frame), slot_size);
        *image_data = record.image_data;
        *frame_count = record.frame_count;
        *metadata = record.metadata;
        *metadata_size = record.metadata_size;
        kit::check_true(record.image_data == nullptr || record.metadata != nullptr,
                        "Expected metadata with the frame.");
    });
}

void frame_acquisition_class::set_image_poll_timeout(acquisition_handle_port& handle, int milliseconds) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        const data_text value(std::to_string(milliseconds));
        char reply[reply_buffer_size] = {};
        handle.channel().set_exchange("image_poll_timeout_ms", 22, value.bytes, data_text_size, reply,
                                      static_cast<std::int32_t>(reply_buffer_size), false);
    });
}

void frame_acquisition_class::get_image_poll_timeout(acquisition_handle_port& handle, int* milliseconds) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(milliseconds, "image_poll_timeout_ms");
        *milliseconds = camera::to_int(handle.channel().get("image_poll_timeout_ms"));
    });
}

void frame_acquisition_class::get_is_armed(acquisition_handle_port& handle, int* is_armed) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(is_armed, "is_armed__param");
        *is_armed = armed ? 1 : 0;
    });
}

void frame_acquisition_class::get_measured_frame_rate(acquisition_handle_port& handle,
                                                      double* frames_per_second) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(frames_per_second, "measured_frames_per_second_param");
        *frames_per_second = measured_frame_rate.load();
    });
}

void frame_acquisition_class::get_stream_statistics(acquisition_handle_port& handle,
                                                    qx_stream_statistics* statistics) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(statistics, "statistics");
        device_qv::stream_statistics_record record{};
        bool supported = true;
        char reply[reply_buffer_size] = {};
        handle.channel().get_exchange("stream_statistics", 18, &record, sizeof record, reply,
                                      reply_buffer_size, false, supported);
        kit::check_true(supported, not_supported_text);
        qx_stream_statistics full{};
        full.size = sizeof full;
        full.frames_delivered = record.frames_delivered;
        full.frames_lost_incomplete = record.frames_lost_incomplete;
        full.frames_lost_no_free_slot = record.frames_lost_no_free_slot;
        full.stalls_recovered = record.stalls_recovered;
        full.resets = record.resets;
        full.bytes_received = record.bytes_received;
        full.packets_received = record.packets_received;
        // An older caller's smaller structure receives its prefix.
        const std::size_t written = statistics->size < sizeof full ? statistics->size : sizeof full;
        if (written < sizeof full.size)
            throw std::invalid_argument("statistics->size");
        full.size = static_cast<unsigned int>(written);
        std::memcpy(statistics, &full, written);
    });
}

void frame_acquisition_class::acquire_frame(acquisition_handle_port& handle, int timeout_ms,
                                            qx_frame* frame) {
    handle.run_locked([&]() QX_REQUIRES(handle_mutex) {
        kit::check_argument(frame, "frame");
        if (frame->size < sizeof(qx_frame))
            throw std::invalid_argument("frame->size");
        if (timeout_ms < 0)
            throw std::invalid_argument("timeout_ms");
        kit::check_pointer_null(reinterpret_cast<void*>(callback),
                                "Frames can only be held when no callback is registered.");
        kit::check_true(armed, "Camera must be armed to acquire a frame.");
        const unsigned int size = frame->size;
        *frame = qx_frame{};
        frame->size = size;

        std::uint64_t slot = 0;
        char reply[reply_buffer_size] = {};
        bool supported = true;
        const std::string command = "image_acquire " + std::to_string(timeout_ms);
        handle.channel().get_exchange(command.c_str(), command.size() + 1, &slot, sizeof slot, reply,
                                      reply_buffer_size, false, supported);
        kit::check_true(supported, not_supported_text);
        if (slot == 0)
            return;
        if (!held_frames)
            held_frames = std::make_shared<held_frame_ledger_class>(handle.held_frame_device());
        void* token = held_frames->hold(frame_buffer, reinterpret_cast<unsigned char*>(slot));
        const frame_record record = scan_frame_record(reinterpret_cast<unsigned char*>(slot), slot_size);
        frame->frame_count = record.frame_count;
        frame->image_data = record.image_data;
        frame->metadata = record.metadata;
        frame->metadata_size = record.metadata_size;
        std::sscanf(reply, "%d %d %d", &frame->width, &frame->height, &frame->bit_depth);
        frame->token = token;
    });
}

void frame_acquisition_class::release_frame(qx_frame* frame) {
    kit::check_argument(frame, "frame");
    held_frame_ledger_class::release(frame->token);
    frame->token = nullptr;
    frame->image_data = nullptr;
    frame->metadata = nullptr;
}

void frame_acquisition_class::forget_device() noexcept {
    platform::scoped_lock_class guard(handle_mutex);
    if (held_frames)
        held_frames->forget_device();
}

void frame_acquisition_class::start_frame_loop(acquisition_handle_port& handle) {
    platform::scoped_lock_class registry(handle.registry_lock());
    kit::check_pointer_null(frame_loop.get(), "Acquisition thread is already running.");
    kit::check_pointer_set(reinterpret_cast<void*>(callback), "Expected a callback to be registered.");
    stop_requested.exchange(false);
    const frame_loop_settings settings{callback, callback_context, slot_size};
    try {
        frame_loop =
            std::make_unique<std::thread>([this, &handle, settings] { run_frame_loop(handle, settings); });
    } catch (const std::system_error&) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    platform::scoped_lock_class waiting(handshake_mutex);
    handshake.wait(waiting, [&]() QX_REQUIRES(handshake_mutex) { return loop_started; });
    loop_started = false;
}

void frame_acquisition_class::stop_remaining_frame_loop() noexcept {
    try {
        std::unique_ptr<std::thread> running;
        {
            platform::scoped_lock_class guard(handle_mutex);
            running = std::move(frame_loop);
        }
        if (!running)
            return;
        stop_requested.exchange(true);
        if (running->get_id() == std::this_thread::get_id()) {
            running->detach();
        } else if (running->joinable()) {
            running->join();
        }
    } catch (...) {
        // Closing never fails.
    }
}

bool frame_acquisition_class::called_from_frame_loop() const {
    return frame_loop_owner == this;
}

void frame_acquisition_class::run_frame_loop(acquisition_handle_port& handle, frame_loop_settings settings) {
    platform::name_current_thread("ACQUISITION FRAME LOOP");
    frame_loop_owner = this;
    {
        platform::scoped_lock_class guard(handshake_mutex);
        loop_started = true;
    }
    handshake.notify_all();

    try {
        int frames = 0;
        double interval_start = now_in_seconds();
        for (;;) {
            if (stop_requested.load())
                return;
            const double now = now_in_seconds();
            const double elapsed = now - interval_start;
            if (elapsed >= 1.0) {
                measured_frame_rate.store(frames / elapsed);
                frames = 0;
                interval_start = now;
            }

            std::uint64_t frame = 0;
            frame_loop_reply[0] = '\0';
            static constexpr char wait_command[] = "image_wait_per_frame";
            if (handle.get_data(wait_command, sizeof wait_command, &frame, 0, frame_loop_reply,
                                reply_buffer_size) != 0) {
                throw std::runtime_error(
                    handle.channel().context_text(wait_command, sizeof wait_command, 0, reply_buffer_size) +
                    "Error getting data.");
            }
            const std::string_view reply(frame_loop_reply, strnlen(frame_loop_reply, reply_buffer_size));
            if (const auto phrase = camera::find_firmware_phrase(reply)) {
                kit::check_true(reply.find(camera::invalid_command_phrase) == std::string_view::npos,
                                not_supported_text);
                throw std::runtime_error(
                    handle.channel().context_text(wait_command, sizeof wait_command, 0, reply_buffer_size) +
                    std::string(reply.substr(*phrase)) + "'");
            }
            if (frame == 0)
                continue;
            // No handle mutex here: an arm or a close holds it while it joins
            // this loop, and the settings were handed over when it started.
            // A stop that came during the wait is honoured before the frame.
            if (stop_requested.load())
                return;
            const frame_record record =
                scan_frame_record(reinterpret_cast<unsigned char*>(frame), settings.slot_size);
            settings.callback(handle.identity(), record.image_data, record.frame_count, record.metadata,
                              record.metadata_size, settings.callback_context);
            ++frames;
        }
    } catch (const std::exception& failure) {
        std::printf("Error in the frame-level acquisition loop: %s\n", failure.what());
    }
}

}  // namespace qx::acquisition
