#include "device_qv/device_dispatch.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "device_qv/qv_camera_class.h"

namespace qx::device_qv {

namespace {

using handler = void (*)(const dispatch_call& call, const std::string& trimmed_command);

struct dispatch_row {
    const char* word;
    bool matches_prefix;  // the word matches any command that begins with it
    handler handle;
};

constexpr std::uint32_t size_query_copy_length = 256;

// Writes a text and its NUL into the reply, never past the reply buffer.
void write_reply(const dispatch_call& call, std::string_view text) {
    if (call.reply == nullptr || call.reply_size == 0)
        return;
    const std::size_t room = static_cast<std::size_t>(call.reply_size) - 1;
    const std::size_t length = text.size() < room ? text.size() : room;
    std::memcpy(call.reply, text.data(), length);
    call.reply[length] = '\0';
}

// The value text at data, read only within data_size: a host that gives a
// pointer and no size gives no text.
std::string data_text(const dispatch_call& call) {
    if (call.data == nullptr)
        return {};
    const auto* text = static_cast<const char*>(call.data);
    return std::string(text, strnlen(text, static_cast<std::size_t>(call.data_size)));
}

void store_frame_pointer(const dispatch_call& call, unsigned char* frame) {
    std::uint64_t address = reinterpret_cast<std::uintptr_t>(frame);
    std::memcpy(const_cast<void*>(call.data), &address, sizeof address);
    write_reply(call, "");
}

void pass_through(const dispatch_call& call) {
    const std::uint64_t copy = call.reply_size < reply_area_size ? call.reply_size : reply_area_size;
    call.camera.send_command(call.command, static_cast<std::uint32_t>(call.command_size), call.reply,
                             static_cast<std::uint32_t>(copy));
}

void read_gain(const dispatch_call& call, const std::string&) {
    platform::scoped_lock_class guard(call.camera.command_mutex());
    const int gain = camera::to_int(call.camera.query("gain"));
    call.camera.cached_gain = gain;
    write_reply(call, std::to_string(gain));
}

void write_gain(const dispatch_call& call, const std::string& trimmed_command) {
    constexpr std::size_t prefix_length = 5;
    const int gain = camera::to_int(std::string_view(trimmed_command).substr(prefix_length));
    const std::string command = "gain " + std::to_string(gain);
    {
        platform::scoped_lock_class guard(call.camera.command_mutex());
        char reply[reply_area_size] = {};
        call.camera.send_command(command.c_str(), static_cast<std::uint32_t>(command.size() + 1), reply,
                                 reply_area_size);
    }
    platform::scoped_lock_class guard(call.camera.command_mutex());
    call.camera.cached_gain = gain;
}

void frame_size(const dispatch_call& call, const std::string&) {
    platform::scoped_lock_class guard(call.camera.command_mutex());
    const auto width = static_cast<std::uint32_t>(
        camera::to_int_or_zero(call.camera.query("image_width", size_query_copy_length)));
    const auto height = static_cast<std::uint32_t>(
        camera::to_int_or_zero(call.camera.query("image_height", size_query_copy_length)));
    std::uint32_t bytes = width * height * 2;
    if (call.camera.metadata_enabled.load())
        bytes += metadata_slot_reserve;
    write_reply(call, std::to_string(static_cast<std::int32_t>(bytes)));
}

void not_implemented(const dispatch_call& call, const char* failure) {
    write_reply(call, "error not supported");
    throw std::runtime_error(failure);
}

// "image_acquire <time-out in ms>": data is the address of a 64-bit slot
// address; the reply is the frame's "<width> <height> <bit depth>".
void acquire_frame(const dispatch_call& call, const std::string& trimmed_command) {
    constexpr std::size_t prefix_length = 14;
    if (call.data == nullptr)
        throw std::runtime_error("A data pointer must be provided to acquire an image.");
    const int timeout_ms = camera::to_int(std::string_view(trimmed_command).substr(prefix_length));
    auto& acquisition = call.camera.acquisition;
    store_frame_pointer(call, acquisition.acquire_frame(timeout_ms));
    write_reply(call, std::to_string(acquisition.image_width()) + " " +
                          std::to_string(acquisition.image_height()) + " " +
                          std::to_string(acquisition.pixel_bit_depth()));
}

// data is the address of the 64-bit slot address to give back.
void release_frame(const dispatch_call& call, const std::string&) {
    std::uint64_t address = 0;
    if (call.data == nullptr || call.data_size < sizeof address)
        throw std::runtime_error("The address of a held frame must be provided to release it.");
    std::memcpy(&address, call.data, sizeof address);
    call.camera.acquisition.release_frame(reinterpret_cast<unsigned char*>(static_cast<std::uintptr_t>(address)));
}

// data receives the counters, cut to data_size bytes.
void stream_statistics(const dispatch_call& call, const std::string&) {
    if (call.data == nullptr)
        throw std::runtime_error("A data pointer must be provided for the stream statistics.");
    const stream_statistics_record record = call.camera.acquisition.statistics();
    std::memcpy(const_cast<void*>(call.data), &record,
                call.data_size < sizeof record ? static_cast<std::size_t>(call.data_size) : sizeof record);
    write_reply(call, "");
}

void stop_acquisition(const dispatch_call& call, const std::string&) {
    call.camera.acquisition.stop();
}

// Matching order matters: rows are tried top to bottom.
const dispatch_row get_rows[] = {
    {"image_poll_timeout_ms", false,
     [](const dispatch_call& call, const std::string&) {
         write_reply(call,
                     std::to_string(static_cast<std::int32_t>(call.camera.image_poll_timeout_ms.load())));
     }},
    {"image_poll", false,
     [](const dispatch_call& call, const std::string&) {
         if (call.data == nullptr)
             throw std::runtime_error("A data pointer must be provided to poll for an image.");
         store_frame_pointer(call, call.camera.acquisition.poll_frame());
     }},
    {"image_wait_per_frame", false,
     [](const dispatch_call& call, const std::string&) {
         if (call.data == nullptr)
             throw std::runtime_error("A data pointer must be provided to wait for an image.");
         store_frame_pointer(call, call.camera.acquisition.wait_for_frame());
     }},
    {"usb_speed", true,
     [](const dispatch_call& call, const std::string&) {
         platform::scoped_lock_class guard(call.camera.command_mutex());
         const std::string speed = call.camera.transport()->get_usb_port_speed();
         // NUL-padded, and unterminated when the text fills the buffer.
         if (call.reply != nullptr)
             std::strncpy(call.reply, speed.c_str(), static_cast<std::size_t>(call.reply_size));
     }},
    {"image_metadata", false,
     [](const dispatch_call& call, const std::string&) {
         platform::scoped_lock_class guard(call.camera.command_mutex());
         write_reply(call, call.camera.metadata_enabled.load() ? "on" : "off");
     }},
    {"acquisition_bytes_per_frame", false, frame_size},
    {"image_acquire ", true, acquire_frame},
    {"stream_statistics", false, stream_statistics},
    {"ccon", false,
     [](const dispatch_call& call, const std::string&) {
         platform::scoped_lock_class guard(call.camera.command_mutex());
         call.camera.column_balancing.enabled = true;
         write_reply(call, "on");
     }},
    {"ccoff", false,
     [](const dispatch_call& call, const std::string&) {
         platform::scoped_lock_class guard(call.camera.command_mutex());
         call.camera.column_balancing.enabled = false;
         write_reply(call, "off");
     }},
    {"ccload", false,
     [](const dispatch_call& call, const std::string&) {
         not_implemented(call, "ccload is not implemented.");
     }},
    {"ccdump", false,
     [](const dispatch_call& call, const std::string&) {
         not_implemented(call, "ccdump is not implemented.");
     }},
    {"gain", false, read_gain},
};

const dispatch_row set_rows[] = {
    {"arm", false,
     [](const dispatch_call& call, const std::string&) {
         call.camera.acquisition.arm(static_cast<unsigned char*>(const_cast<void*>(call.data)),
                                     static_cast<std::int64_t>(call.data_size));
     }},
    {"disarm", false, stop_acquisition},
    {"stop", false, stop_acquisition},
    {"image_metadata", false,
     [](const dispatch_call& call, const std::string&) {
         platform::scoped_lock_class guard(call.camera.command_mutex());
         call.camera.metadata_enabled.store(data_text(call) == "on");
     }},
    {"gain ", true, write_gain},
    {"image_poll_timeout_ms", false,
     [](const dispatch_call& call, const std::string&) {
         call.camera.image_poll_timeout_ms.store(
             static_cast<std::uint32_t>(camera::to_int_or_zero(data_text(call))));
     }},
    {"image_release", false, release_frame},
    {"unblock_image_wait_for_frame", false,
     [](const dispatch_call& call, const std::string&) { call.camera.acquisition.unblock(); }},
};

template <std::size_t row_count>
int dispatch(const dispatch_row (&rows)[row_count], const dispatch_call& call) {
    try {
        if (call.command == nullptr)
            throw std::invalid_argument("command");
        // The command's NUL should lie within its size, but a host that
        // sends one without it must not make the module read past it.
        const std::string trimmed_command =
            kit::trimmed(std::string_view(call.command, strnlen(call.command, call.command_size)));
        for (const auto& row : rows) {
            const std::string_view word(row.word);
            const bool matches =
                row.matches_prefix ? trimmed_command.rfind(word, 0) == 0 : trimmed_command == word;
            if (!matches)
                continue;
            row.handle(call, trimmed_command);
            return 0;
        }
        pass_through(call);
        return 0;
    } catch (...) {
        return 1;
    }
}

}  // namespace

int dispatch_get(const dispatch_call& call) {
    return dispatch(get_rows, call);
}

int dispatch_set(const dispatch_call& call) {
    return dispatch(set_rows, call);
}

}  // namespace qx::device_qv
