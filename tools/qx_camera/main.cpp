// qx-camera: the SDK's command-line tool.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "quendral_vko_camera_sdk.h"

namespace {

// Prints the SDK's explanation of a failed call and turns it into an exit code.
int report_failure(const char* call, int status) {
    std::fprintf(stderr, "qx-camera: %s failed (%d): %s\n", call, status, qx_camera_get_last_error());
    return 1;
}

// Opens the kit for the lifetime of one command.
class sdk_session {
public:
    sdk_session() : status(qx_camera_open_sdk()) {}
    ~sdk_session() {
        if (status == 0) qx_camera_close_sdk();
    }
    sdk_session(const sdk_session&) = delete;
    sdk_session& operator=(const sdk_session&) = delete;
    int open_status() const { return status; }

private:
    int status;
};

std::vector<std::string> split_serial_numbers(const std::string& text) {
    std::vector<std::string> serials;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos) end = text.size();
        if (end > start) serials.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return serials;
}

int list_cameras() {
    sdk_session session;
    if (session.open_status() != 0) return report_failure("qx_camera_open_sdk", session.open_status());
    std::vector<char> text(4096, '\0');
    const int status = qx_camera_discover_available_cameras(text.data(), static_cast<int>(text.size() - 1));
    if (status != 0) return report_failure("qx_camera_discover_available_cameras", status);
    const auto serials = split_serial_numbers(text.data());
    if (serials.empty()) {
        std::printf("No camera found.\n");
        return 0;
    }
    for (const auto& serial : serials) std::printf("%s\n", serial.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"qx-camera: find, configure and stream Quendral VKO cameras"};
    app.require_subcommand(1);
    auto* list = app.add_subcommand("list", "List the serial numbers of all reachable cameras");
    int exit_code = 0;
    list->callback([&] { exit_code = list_cameras(); });
    CLI11_PARSE(app, argc, argv);
    return exit_code;
}
