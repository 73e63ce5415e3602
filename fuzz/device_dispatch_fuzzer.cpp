// Raw command bytes, as a host or `_internal_command` may send them, into
// the built-in module's get and set dispatch on an emulated camera: no read
// or write outside the command, the data or the reply, and every call
// answers 0 or 1.
//
// Input: a flags byte (bit 0 set, bit 1 null data, bit 2 null reply), the
// reply size in units of four bytes, the length of the data, the data, and
// the command (all remaining bytes, a NUL only if the input holds one).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/checks.h"
#include "device_qv/entry_points/module_entry_points.h"
#include "fuzz_support.h"
#include "quendral_vko_camera_emulator.h"

namespace {

// The frame buffer handed over with "arm": the packet loop may write it at
// any later time, so it lives as long as the process.
constexpr std::size_t frame_buffer_size = 1 << 20;

struct emulated_device {
    emulated_device() {
        // Ten frames a second at most, so a started stream costs little.
        QX_FUZZ_REQUIRE(qx_emu_reset(R"([{"id":"FZ-1","serial":"SN-FZ","sensor_width":64,"sensor_height":8,)"
                                     R"("pacing":"frame_time","frame_time_us":100000}])") == QX_EMU_OK);
        QX_FUZZ_REQUIRE(qx_module_initialize(nullptr) == 0);
        std::vector<char> ids(2048), serials(2048);
        QX_FUZZ_REQUIRE(get_device_ids(ids.data(), 2048, serials.data(), 2048) == 0);
        QX_FUZZ_REQUIRE(create("FZ-1", &device) == 0);
        frame_buffer = std::make_unique<unsigned char[]>(frame_buffer_size);
    }
    void* device = nullptr;
    std::unique_ptr<unsigned char[]> frame_buffer;
};

emulated_device& camera() {
    static emulated_device* made = new emulated_device();
    return *made;
}

int set_text(const char* command, const char* value) {
    char data[256] = {};
    std::strncpy(data, value, sizeof data - 1);
    char reply[64];
    return set_data__returns_zero_for_success(camera().device, command, std::strlen(command) + 1, data,
                                              sizeof data, reply, sizeof reply);
}

// `size` bytes followed by zeros up to `room`, exactly `room` bytes on the
// heap (a live pointer even for none), so a read or write past them is caught.
std::unique_ptr<char[]> exact_copy(const std::uint8_t* bytes, std::size_t size, std::size_t room) {
    auto copy = std::make_unique<char[]>(room);
    if (size > 0)
        std::memcpy(copy.get(), bytes, size);
    return copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size < 3)
        return 0;
    const std::uint8_t flags = input[0];
    const std::size_t reply_size = static_cast<std::size_t>(input[1]) * 4;
    const std::size_t data_length = std::min<std::size_t>(input[2], size - 3);
    const std::uint8_t* data_bytes = input + 3;
    const std::uint8_t* command_bytes = data_bytes + data_length;
    const std::size_t command_size = size - 3 - data_length;
    const bool is_set = (flags & 1) != 0;

    const auto command = exact_copy(command_bytes, command_size, command_size);
    const std::string word = qx::kit::trimmed(
        std::string_view(command.get(), strnlen(command.get(), command_size)));

    // Waits end at once: polls do not wait, a frame wait is released before
    // it starts, and an acquisition, whose wait its caller names, is left out.
    if (word.rfind("image_acquire", 0) == 0)
        return 0;
    QX_FUZZ_REQUIRE(set_text("image_poll_timeout_ms", "0") == 0);
    if (word == "image_wait_per_frame")
        QX_FUZZ_REQUIRE(set_text("unblock_image_wait_for_frame", "") == 0);

    // A get's data is at least the 64-bit slot the frame requests store into,
    // and never smaller than the size the call gives.
    auto data = exact_copy(data_bytes, data_length, is_set ? data_length : std::max<std::size_t>(data_length, 8));
    const void* data_pointer = data.get();
    std::uint64_t data_size = data_length;
    if (is_set && word == "arm") {
        data_pointer = camera().frame_buffer.get();
        data_size = std::min<std::size_t>(data_length * 4096, frame_buffer_size);
    }
    if ((flags & 2) != 0)
        data_pointer = nullptr;

    auto reply = std::make_unique<char[]>(reply_size);
    char* reply_pointer = (flags & 4) != 0 ? nullptr : reply.get();
    const auto call = is_set ? &set_data__returns_zero_for_success : &get_data__returns_zero_for_success;
    const int status = call(camera().device, command.get(), command_size, data_pointer, data_size,
                            reply_pointer, reply_size);
    QX_FUZZ_REQUIRE(status == 0 || status == 1);
    return 0;
}
