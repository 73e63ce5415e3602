#include "command_doctor.h"

#include <dirent.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "camera_session.h"
#include "exit_codes.h"
#include "parameter_access.h"

namespace qx::tool {

namespace {

// The USB vendor id of the cameras, as sysfs and udev rules write it.
constexpr const char* camera_vendor_id = "2a7c";
// Below this, a few cameras streaming at once run out of transfer memory.
constexpr long recommended_usbfs_mb = 256;

enum class verdict { ok, warning, problem };

struct finding {
    std::string check;
    verdict outcome;
    std::string detail;
    std::string advice;  // what to do; empty when nothing needs doing
};

std::string read_first_line(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::vector<std::string> directory_entries(const std::string& path) {
    std::vector<std::string> names;
    if (DIR* directory = opendir(path.c_str())) {
        while (const dirent* entry = readdir(directory)) {
            if (entry->d_name[0] != '.')
                names.emplace_back(entry->d_name);
        }
        closedir(directory);
    }
    return names;
}

bool contains_ignoring_case(std::string text, std::string word) {
    for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text.find(word) != std::string::npos;
}

void check_usbfs_memory(const std::string& root, std::vector<finding>& findings) {
    const std::string path = root + "/sys/module/usbcore/parameters/usbfs_memory_mb";
    const std::string value = read_first_line(path);
    const std::string advice =
        "raise it: echo 1000 | sudo tee /sys/module/usbcore/parameters/usbfs_memory_mb "
        "(permanently: usbcore.usbfs_memory_mb=1000 on the kernel command line)";
    if (value.empty()) {
        findings.push_back({"usbfs_memory_mb", verdict::warning, "cannot read " + path, ""});
        return;
    }
    const long megabytes = std::strtol(value.c_str(), nullptr, 10);
    if (megabytes == 0) {
        findings.push_back({"usbfs_memory_mb", verdict::ok, "0 (no limit)", ""});
    } else if (megabytes < recommended_usbfs_mb) {
        findings.push_back({"usbfs_memory_mb", verdict::problem,
                            value + " MiB, too little for streaming (" +
                                std::to_string(recommended_usbfs_mb) + " MiB or more recommended)",
                            advice});
    } else {
        findings.push_back({"usbfs_memory_mb", verdict::ok, value + " MiB", ""});
    }
}

void check_udev_rule(const std::string& root, std::vector<finding>& findings) {
    for (const char* directory : {"/etc/udev/rules.d", "/lib/udev/rules.d", "/usr/lib/udev/rules.d"}) {
        for (const auto& name : directory_entries(root + directory)) {
            const std::string path = root + directory + "/" + name;
            std::ifstream file(path);
            std::stringstream text;
            text << file.rdbuf();
            if (contains_ignoring_case(text.str(), camera_vendor_id)) {
                findings.push_back({"udev rule", verdict::ok, path, ""});
                return;
            }
        }
    }
    findings.push_back({"udev rule", verdict::problem,
                        std::string("no udev rule names the cameras' vendor id ") + camera_vendor_id,
                        "install the SDK's udev rule into /etc/udev/rules.d, then: sudo udevadm control "
                        "--reload-rules && sudo udevadm trigger, and plug the camera in again"});
}

// Cameras plugged in, as the kernel sees them: permissions and link speed.
void check_usb_devices(const std::string& root, std::vector<finding>& findings) {
    const std::string devices = root + "/sys/bus/usb/devices";
    for (const auto& name : directory_entries(devices)) {
        const std::string device = devices + "/" + name;
        if (read_first_line(device + "/idVendor") != camera_vendor_id)
            continue;
        const int bus = std::atoi(read_first_line(device + "/busnum").c_str());
        const int number = std::atoi(read_first_line(device + "/devnum").c_str());
        char node[64];
        std::snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", bus, number);
        const std::string label = "camera at " + std::string(node);
        if (access((root + node).c_str(), R_OK | W_OK) == 0) {
            findings.push_back({label + " permissions", verdict::ok, "readable and writable", ""});
        } else {
            findings.push_back({label + " permissions", verdict::problem, "this user cannot open it",
                                "install the udev rule (see above), or add this user to the group that owns "
                                "the device (ls -l " +
                                    std::string(node) + "), then log in again"});
        }
        const long speed = std::strtol(read_first_line(device + "/speed").c_str(), nullptr, 10);
        if (speed > 0 && speed < 5000) {
            findings.push_back(
                {label + " link", verdict::warning, std::to_string(speed) + " Mb/s, below USB 3",
                 "plug it into a USB 3 port (often blue) with a USB 3 cable, without a USB 2 hub"});
        } else if (speed > 0) {
            findings.push_back({label + " link", verdict::ok, std::to_string(speed) + " Mb/s", ""});
        }
    }
}

// Every camera the SDK reaches (emulated ones too): its link speed.
void check_camera_links(std::vector<finding>& findings) {
    std::vector<std::string> serials;
    try {
        serials = sdk_session().serial_numbers();
    } catch (const tool_failure& failure) {
        findings.push_back({"SDK", verdict::problem, failure.what(),
                            "see the message; run with --emulate 1 to "
                            "check the installation without a camera"});
        return;
    }
    if (serials.empty())
        findings.push_back(
            {"cameras", verdict::warning, "none found", "plug a camera in, or try --emulate 1"});
    for (const auto& serial : serials) {
        try {
            camera_session camera(serial);
            const std::string speed = read_parameter(camera.handle(), "usb_speed");
            if (speed == "usb3")
                findings.push_back({serial + " link", verdict::ok, "USB 3", ""});
            else
                findings.push_back({serial + " link", verdict::warning, speed + ", below USB 3",
                                    "plug it into a USB 3 port (often blue) with a USB 3 cable"});
        } catch (const tool_failure& failure) {
            findings.push_back({serial, verdict::problem, failure.what(),
                                failure.code() == exit_permission_denied ? "install the udev rule (see above)"
                                                                         : "see the message"});
        }
    }
}

const char* verdict_word(verdict outcome) {
    switch (outcome) {
        case verdict::ok:
            return "ok";
        case verdict::warning:
            return "warning";
        case verdict::problem:
            break;
    }
    return "problem";
}

}  // namespace

void add_doctor_options(CLI::App& command, command_options& options) {
    command.add_option("--system-root", options.system_root,
                       "Check the system mounted here instead of this one (its /sys, /etc and /dev)");
}

int run_doctor(const command_options& options) {
    const std::string& root = options.system_root;
    std::vector<finding> findings;
    check_usbfs_memory(root, findings);
    check_udev_rule(root, findings);
    check_usb_devices(root, findings);
    check_camera_links(findings);
    bool any_problem = false;
    auto records = nlohmann::ordered_json::array();
    for (const auto& entry : findings) {
        any_problem = any_problem || entry.outcome == verdict::problem;
        if (options.json) {
            records.push_back({{"check", entry.check},
                               {"status", verdict_word(entry.outcome)},
                               {"detail", entry.detail},
                               {"advice", entry.advice}});
            continue;
        }
        std::printf("%-8s %s: %s\n", verdict_word(entry.outcome), entry.check.c_str(), entry.detail.c_str());
        if (!entry.advice.empty())
            std::printf("         what to do: %s\n", entry.advice.c_str());
    }
    if (options.json)
        std::printf("%s\n", records.dump().c_str());
    return any_problem ? exit_failure : exit_success;
}

}  // namespace qx::tool
