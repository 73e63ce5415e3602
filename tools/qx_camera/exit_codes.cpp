#include "exit_codes.h"

#include <cstdio>

#include "quendral_vko_camera_sdk.h"

namespace qx::tool {

namespace {

constexpr exit_code_row rows[] = {
    {exit_success, "success"},
    {exit_failure, "any other failure (the message says which)"},
    {exit_usage, "usage: an unknown option, parameter or value"},
    {exit_camera_not_found, "no camera, or none with the serial number asked for"},
    {exit_permission_denied, "the camera was found but this user may not open it (see qx-camera doctor)"},
    {exit_timed_out, "a frame or a reply did not come in time"},
    {exit_frames_lost, "stream lost more frames than --max-lost allows"},
    {exit_interrupted, "stopped by Ctrl-C (the stream's summary is still printed)"},
};

// Which failure texts of the SDK mean what to a script. The first match wins.
struct failure_class {
    const char* text;
    int code;
};

constexpr failure_class failure_classes[] = {
    {"Serial number not found", exit_camera_not_found},
    {"LIBUSB_ERROR_NO_DEVICE", exit_camera_not_found},
    {"LIBUSB_ERROR_NOT_FOUND", exit_camera_not_found},
    {"LIBUSB_ERROR_ACCESS", exit_permission_denied},
    {"ermission denied", exit_permission_denied},
    {"LIBUSB_ERROR_TIMEOUT", exit_timed_out},
    {"timed out", exit_timed_out},
    {"Unknown parameter", exit_usage},
    {"Value '", exit_usage},
    {"is read-only", exit_usage},
    {"has no range", exit_usage},
};

}  // namespace

std::span<const exit_code_row> exit_code_rows() {
    return rows;
}

std::string exit_code_help() {
    std::string text = "Exit codes:\n";
    for (const auto& row : rows) {
        char line[160];
        std::snprintf(line, sizeof line, "  %3d  %s\n", row.code, row.meaning);
        text += line;
    }
    return text;
}

void fail_call(const char* call, int status) {
    const std::string detail = qx_camera_get_last_error();
    int code = exit_failure;
    for (const auto& entry : failure_classes) {
        if (detail.find(entry.text) != std::string::npos) {
            code = entry.code;
            break;
        }
    }
    throw tool_failure(code, std::string(call) + " failed (" + std::to_string(status) + "): " + detail);
}

}  // namespace qx::tool
