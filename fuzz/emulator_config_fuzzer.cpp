// Any text as the emulator's JSON configuration, as a set of cameras or as
// a faults object: a bad one is refused with a text, a good one gives
// cameras that answer their first command.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "quendral_vko_camera_emulator.h"

namespace {

// A set that the faults object is tried on.
constexpr char plain_camera[] = R"([{"sensor_width":64,"sensor_height":8,"pacing":"fast"}])";

// Text that is neither JSON nor a count names a file, and "command_log"
// writes one: both reach outside the process, so they are not fuzzed here.
bool stays_in_process(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return true;
    return (text[first] == '{' || text[first] == '[') && text.find("command_log") == std::string_view::npos;
}

void refused_with_a_text(int status) {
    if (status != QX_EMU_OK)
        QX_FUZZ_REQUIRE(std::strlen(qx_emu_get_last_error()) > 0);
}

// Opens the first camera and asks for its id.
void ask_first_camera_for_its_id() {
    char path[256] = {};
    if (qx_emu_get_camera_path(nullptr, 0, path, sizeof path) != QX_EMU_OK)
        return;
    qx_emu_device* device = qx_emu_device_open(path);
    QX_FUZZ_REQUIRE(device != nullptr);
    static constexpr char command[] = "id";
    // The camera answers at once unless its faults say otherwise: a short
    // wait keeps a configured time-out from slowing the run.
    if (qx_emu_device_write(device, command, sizeof command, 1) == QX_EMU_OK) {
        char reply[QX_EMU_REPLY_SIZE];
        std::size_t transferred = 0;
        const int status = qx_emu_device_read(device, reply, sizeof reply, &transferred, 1);
        QX_FUZZ_REQUIRE(status == QX_EMU_OK || status == QX_EMU_TIMEOUT || status == QX_EMU_STALL);
        QX_FUZZ_REQUIRE(transferred <= sizeof reply);
    }
    qx_emu_device_close(device);
}

// True while the emulator holds the plain set that faults are tried on.
bool plain_set_in_place = false;

}  // namespace

// The first byte chooses the reading: even, a camera set; odd, a faults
// object for a plain camera. The rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    if ((data[0] & 1) == 0) {
        if (!stays_in_process(text))
            return 0;
        plain_set_in_place = false;
        const int status = qx_emu_reset(text.c_str());
        refused_with_a_text(status);
        if (status == QX_EMU_OK) {
            QX_FUZZ_REQUIRE(qx_emu_get_camera_count(nullptr) >= 0);
            ask_first_camera_for_its_id();
        }
        return 0;
    }
    if (!plain_set_in_place) {
        QX_FUZZ_REQUIRE(qx_emu_reset(plain_camera) == QX_EMU_OK);
        plain_set_in_place = true;
    }
    char path[256] = {};
    QX_FUZZ_REQUIRE(qx_emu_get_camera_path(nullptr, 0, path, sizeof path) == QX_EMU_OK);
    const int status = qx_emu_set_faults(path, text.c_str());
    refused_with_a_text(status);
    if (status == QX_EMU_OK)
        ask_first_camera_for_its_id();
    return 0;
}
