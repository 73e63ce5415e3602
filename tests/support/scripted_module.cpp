// A device module whose every answer a test scripts, and which records every
// call it receives. Built under the second family's library name so that the
// kit admits it in place of the real module.

#include <algorithm>
#include <cstring>

#include "support/scripted_module_state.h"

#define QX_SCRIPTED_EXPORT extern "C" __attribute__((visibility("default")))

using qx::test::scripted_call;
using qx::test::scripted_module_state;

namespace {

// Lives as long as the library: unloading the module releases it.
scripted_module_state& state() {
    static scripted_module_state instance;
    return instance;
}

scripted_call make_call(const char* function, void* device, const char* command,
                        std::uint64_t command_size = 0) {
    scripted_call call;
    call.function = function;
    call.device = device;
    if (command != nullptr) {
        call.command = command;
        call.command_bytes.assign(command, command + command_size);
    }
    call.command_size = command_size;
    return call;
}

// Records a call without command bytes.
void record(const char* function, void* device = nullptr, const char* command = nullptr) {
    std::lock_guard<std::mutex> guard(state().mutex);
    state().calls.push_back(make_call(function, device, command));
}

int answer(const char* function, void* device, const char* command, std::uint64_t command_size,
           std::uint64_t data_size, char* response, std::uint64_t response_size) {
    scripted_call call = make_call(function, device, command, command_size);
    call.data_size = data_size;
    call.response_size = response_size;

    scripted_module_state::command_handler handler;
    qx::test::scripted_reply reply;
    {
        std::lock_guard<std::mutex> guard(state().mutex);
        state().calls.push_back(call);
        handler = state().handler;
        const auto scripted = state().replies.find(call.command);
        if (scripted != state().replies.end())
            reply = scripted->second;
    }
    int status = 0;
    if (handler && handler(call, response, response_size, status))
        return status;
    if (response != nullptr && response_size > 0) {
        const std::size_t copied = std::min<std::size_t>(reply.text.size(), response_size - 1);
        std::memcpy(response, reply.text.data(), copied);
        response[copied] = '\0';
    }
    return reply.status;
}

}  // namespace

QX_SCRIPTED_EXPORT scripted_module_state* qx_scripted_module_state(void) {
    return &state();
}

#ifndef QX_SCRIPTED_OMIT_INITIALIZE
QX_SCRIPTED_EXPORT int qx_module_initialize(qx_hotplug_record* host) {
    std::lock_guard<std::mutex> guard(state().mutex);
    ++state().initialize_calls;
    state().host = host;
    return state().initialize_status;
}
#endif

QX_SCRIPTED_EXPORT int qx_module_uninitialize(void) {
    std::lock_guard<std::mutex> guard(state().mutex);
    ++state().uninitialize_calls;
    return 0;
}

// The kit requires the entry point; nothing is looked up through it.
QX_SCRIPTED_EXPORT void* qx_get_function(const char*) {
    return nullptr;
}

QX_SCRIPTED_EXPORT const char* qx_module_get_name(void) {
    // Stable storage: the kit may keep the pointer while a test changes the name.
    static thread_local std::string name;
    std::lock_guard<std::mutex> guard(state().mutex);
    name = state().module_name;
    return name.c_str();
}

#ifndef QX_SCRIPTED_OMIT_GET_TYPE
QX_SCRIPTED_EXPORT const char* qx_module_get_type(void) {
    static thread_local std::string type;
    std::lock_guard<std::mutex> guard(state().mutex);
    type = state().module_type;
    return type.c_str();
}
#endif

QX_SCRIPTED_EXPORT int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                      int serial_numbers_size) {
    record("get_device_ids");
    std::lock_guard<std::mutex> guard(state().mutex);
    if (state().get_device_ids_status != 0)
        return state().get_device_ids_status;
    std::string ids;
    std::string serials;
    for (const auto& camera : state().cameras) {
        ids += camera.id + ",";
        serials += camera.serial + ",";
    }
    ids += ".";
    if (static_cast<int>(ids.size()) >= device_ids_size ||
        static_cast<int>(serials.size()) >= serial_numbers_size) {
        return 1;
    }
    std::memcpy(device_ids, ids.c_str(), ids.size() + 1);
    std::memcpy(serial_numbers, serials.c_str(), serials.size() + 1);
    return 0;
}

#ifndef QX_SCRIPTED_OMIT_CREATE
QX_SCRIPTED_EXPORT int create(const char* device_id, void** device) {
    record("create", nullptr, device_id);
    if (device == nullptr)
        return 1;
    *device = nullptr;
    std::lock_guard<std::mutex> guard(state().mutex);
    for (const auto& camera : state().cameras) {
        if (device_id != nullptr && camera.id == device_id) {
            *device = new std::string(camera.id);
            ++state().live_devices;
            return 0;
        }
    }
    return 1;
}
#endif

QX_SCRIPTED_EXPORT int destroy(void* device) {
    record("destroy", device);
    if (device == nullptr)
        return 1;
    delete static_cast<std::string*>(device);
    std::lock_guard<std::mutex> guard(state().mutex);
    --state().live_devices;
    return 0;
}

QX_SCRIPTED_EXPORT int get_data__returns_zero_for_success(void* device, const char* command,
                                                          std::uint64_t command_size, const void*,
                                                          std::uint64_t data_size, char* response,
                                                          std::uint64_t response_size) {
    return answer("get_data", device, command, command_size, data_size, response, response_size);
}

QX_SCRIPTED_EXPORT int set_data__returns_zero_for_success(void* device, const char* command,
                                                          std::uint64_t command_size, const void*,
                                                          std::uint64_t data_size, char* response,
                                                          std::uint64_t response_size) {
    return answer("set_data", device, command, command_size, data_size, response, response_size);
}

QX_SCRIPTED_EXPORT int qx_get_module_data(const char* key, void* value, std::int32_t) {
    if (key == nullptr)
        return 1;
    const std::string name(key);
    std::unique_lock<std::mutex> guard(state().mutex);
    if (name == "connect_disconnect") {
        state().hotplug_ready.wait(guard,
                                   [] { return state().released || !state().hotplug_payloads.empty(); });
        if (state().released) {
            state().released = false;
            return 0;
        }
        const std::string payload = state().hotplug_payloads.front();
        state().hotplug_payloads.pop_front();
        if (value != nullptr)
            std::memcpy(value, payload.c_str(), payload.size() + 1);
        return 0;
    }
    const auto entry = state().module_data.find(name);
    if (entry == state().module_data.end())
        return 0;
    if (value == nullptr)
        return 1;
    std::memcpy(value, entry->second.c_str(), entry->second.size() + 1);
    return 0;
}

QX_SCRIPTED_EXPORT int qx_set_module_data(const char* key, void*, std::int32_t) {
    if (key != nullptr && std::strcmp(key, "connect_disconnect_release") == 0) {
        std::lock_guard<std::mutex> guard(state().mutex);
        state().released = true;
        state().hotplug_ready.notify_all();
    }
    return 0;
}
