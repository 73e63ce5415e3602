#pragma once
// Shared between the scripted device module and the tests that drive it: the
// module library owns one instance; a test reaches it through
// qx_scripted_module_state() after loading the same library file.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "quendral_vko_device_module.h"

namespace qx::test {

// One call the module received.
struct scripted_call {
    std::string function;  // "get_data", "set_data", "create", "destroy", "get_device_ids", ...
    void* device = nullptr;
    std::string command;              // up to the NUL
    std::vector<char> command_bytes;  // exactly command_size bytes as passed
    std::uint64_t command_size = 0;
    std::uint64_t data_size = 0;
    std::uint64_t response_size = 0;
};

struct scripted_camera {
    std::string id;
    std::string serial;
};

// What the module answers to one command; an unscripted command gets the
// empty text and status 0.
struct scripted_reply {
    std::string text;  // written into the response buffer with its NUL
    int status = 0;    // the module function's return value
};

class scripted_module_state {
  public:
    // Custom answer for a command: return true when handled.
    using command_handler =
        std::function<bool(const scripted_call& call, char* response, std::uint64_t size, int& status)>;

    scripted_module_state() { reset(); }

    void reset() {
        std::lock_guard<std::mutex> guard(mutex);
        module_name = QX_RALTO_DEVICE_TYPE_NAME;
        module_type = QX_DEVICE_MODULE_TYPE;
        initialize_status = 0;
        get_device_ids_status = 0;
        cameras.clear();
        replies.clear();
        handler = nullptr;
        calls.clear();
        initialize_calls = 0;
        uninitialize_calls = 0;
        host = nullptr;
        live_devices = 0;
        module_data.clear();
        hotplug_payloads.clear();
        released = false;
    }

    // Scripts the reply to a command (exact text up to the NUL).
    void set_reply(const std::string& command, std::string text, int status = 0) {
        std::lock_guard<std::mutex> guard(mutex);
        replies[command] = {std::move(text), status};
    }
    void add_camera(std::string id, std::string serial) {
        std::lock_guard<std::mutex> guard(mutex);
        cameras.push_back({std::move(id), std::move(serial)});
    }
    std::vector<scripted_call> take_calls() {
        std::lock_guard<std::mutex> guard(mutex);
        auto taken = std::move(calls);
        calls.clear();
        return taken;
    }

    std::mutex mutex;
    std::string module_name;                         // guarded by mutex
    std::string module_type;                         // guarded by mutex
    int initialize_status = 0;                       // guarded by mutex
    int get_device_ids_status = 0;                   // guarded by mutex
    std::vector<scripted_camera> cameras;            // guarded by mutex
    std::map<std::string, scripted_reply> replies;   // guarded by mutex
    command_handler handler;                         // guarded by mutex; called without it
    std::vector<scripted_call> calls;                // guarded by mutex
    int initialize_calls = 0;                        // guarded by mutex
    int uninitialize_calls = 0;                      // guarded by mutex
    qx_hotplug_record* host = nullptr;               // guarded by mutex
    int live_devices = 0;                            // guarded by mutex
    std::map<std::string, std::string> module_data;  // guarded by mutex
    std::deque<std::string> hotplug_payloads;        // guarded by mutex
    bool released = false;                           // guarded by mutex
    std::condition_variable hotplug_ready;
};

}  // namespace qx::test

extern "C" qx::test::scripted_module_state* qx_scripted_module_state(void);
