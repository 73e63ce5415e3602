#include "ralto_module_class.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/scoped_lock_class.h"

namespace qx {

namespace {

constexpr char module_version[] = "1.0";

// Copies a text with its terminator into a caller's buffer; false when it
// does not fit.
bool copy_text(const std::string& text, char* buffer, int buffer_size) {
    if (buffer == nullptr || buffer_size < 1 || text.size() + 1 > static_cast<std::size_t>(buffer_size)) {
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

}  // namespace

ralto_module_class& ralto_module_class::instance() {
    // Static storage that is never destroyed: a listener blocked in
    // "connect_disconnect" when the process ends must not meet a destroyed
    // condition variable, and unloading leaves no heap block behind.
    alignas(ralto_module_class) static unsigned char storage[sizeof(ralto_module_class)];
    static ralto_module_class* const module = new (storage) ralto_module_class();
    return *module;
}

namespace {
void report_device_change(int event_code, const char* device_path, void*) {
    ralto_module_class::instance().on_device_change(event_code, device_path);
}
}  // namespace

int ralto_module_class::initialize(const qx_hotplug_record* host) {
    qx_hotplug_event_subscribe_t subscribe = nullptr;
    {
        platform::scoped_lock_class lock(module_mutex_);
        host_ = host == nullptr ? qx_hotplug_record{} : *host;
        subscribe = host_.hotplug_event_subscribe;
    }
    // One callback with no context: the monitor keeps a single subscription
    // however often the kit reopens.
    if (subscribe != nullptr) {
        for (const unsigned int product : ralto_product_ids)
            subscribe(ralto_vendor_id, product, &report_device_change, nullptr);
    }
    return 0;
}

int ralto_module_class::uninitialize() {
    {
        platform::scoped_lock_class lock(module_mutex_);
        host_ = qx_hotplug_record{};
    }
    connect_disconnect_event_.wake_waiters();
    return 0;
}

qx_hotplug_record ralto_module_class::get_hotplug_record() {
    platform::scoped_lock_class lock(module_mutex_);
    return host_;
}

void ralto_module_class::set_camera_listing_source(std::shared_ptr<camera_listing_source_class> source) {
    platform::scoped_lock_class lock(module_mutex_);
    source_ = std::move(source);
    listed_device_ids_.clear();
}

int ralto_module_class::list_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                        int serial_numbers_size) {
    std::shared_ptr<camera_listing_source_class> source;
    {
        platform::scoped_lock_class lock(module_mutex_);
        source = source_;
    }
    std::vector<listed_camera> cameras;
    if (source) {
        try {
            cameras = source->list_cameras();
        } catch (...) {
            return 1;
        }
    }
    std::string id_list;
    std::string serial_list;
    std::vector<std::string> listed;
    for (const auto& camera : cameras) {
        id_list += camera.device_id + ",";
        serial_list += camera.serial_number + ",";
        listed.push_back(camera.device_id);
    }
    id_list += ".";
    if (!copy_text(id_list, device_ids, device_ids_size) ||
        !copy_text(serial_list, serial_numbers, serial_numbers_size)) {
        return 1;
    }
    platform::scoped_lock_class lock(module_mutex_);
    listed_device_ids_ = std::move(listed);
    return 0;
}

int ralto_module_class::create_device(const char* device_id, void** device) {
    if (device == nullptr)
        return 1;
    *device = nullptr;
    if (device_id == nullptr)
        return 1;
    std::shared_ptr<camera_listing_source_class> source;
    {
        platform::scoped_lock_class lock(module_mutex_);
        if (std::find(listed_device_ids_.begin(), listed_device_ids_.end(), device_id) ==
            listed_device_ids_.end()) {
            return 1;
        }
        source = source_;
    }
    if (!source)
        return 1;
    std::shared_ptr<ralto_camera_class> camera;
    try {
        camera = source->open_camera(device_id);
    } catch (...) {
        return 1;
    }
    if (!camera)
        return 1;
    platform::scoped_lock_class lock(module_mutex_);
    devices_.emplace(camera.get(), camera);
    *device = camera.get();
    return 0;
}

int ralto_module_class::destroy_device(void* device) {
    std::shared_ptr<ralto_camera_class> destroyed;
    {
        platform::scoped_lock_class lock(module_mutex_);
        const auto found = devices_.find(device);
        if (found == devices_.end())
            return 1;
        destroyed = std::move(found->second);
        devices_.erase(found);
    }
    // A command still running on another thread keeps the camera alive
    // until it returns.
    return 0;
}

std::shared_ptr<ralto_camera_class> ralto_module_class::find_device(void* device) {
    platform::scoped_lock_class lock(module_mutex_);
    const auto found = devices_.find(device);
    return found == devices_.end() ? nullptr : found->second;
}

int ralto_module_class::send_command(camera_command command_kind, void* device, const char* command,
                                     std::uint64_t command_size, const void* data, std::uint64_t data_size,
                                     char* response, std::uint64_t response_size) {
    const auto camera = find_device(device);
    if (!camera)
        return 1;
    try {
        return ((*camera).*command_kind)(command, command_size, data, data_size, response, response_size);
    } catch (...) {
        return 1;
    }
}

int ralto_module_class::send_get_command(void* device, const char* command, std::uint64_t command_size,
                                         const void* data, std::uint64_t data_size, char* response,
                                         std::uint64_t response_size) {
    return send_command(&ralto_camera_class::get_data, device, command, command_size, data, data_size,
                        response, response_size);
}

int ralto_module_class::send_set_command(void* device, const char* command, std::uint64_t command_size,
                                         const void* data, std::uint64_t data_size, char* response,
                                         std::uint64_t response_size) {
    return send_command(&ralto_camera_class::set_data, device, command, command_size, data, data_size,
                        response, response_size);
}

int ralto_module_class::write_version(ralto_module_class&, void* value) {
    if (value == nullptr)
        return 1;
    std::memcpy(value, module_version, sizeof module_version);
    return 0;
}

int ralto_module_class::write_connect_disconnect_payload(ralto_module_class& module, void* value) {
    if (value == nullptr)
        return 1;
    // The payload is at most the capped id plus two characters, well within
    // the 1,024-byte buffer the kit's listener passes.
    if (const auto payload = module.connect_disconnect_event_.wait_for_payload()) {
        std::memcpy(value, payload->c_str(), payload->size() + 1);
    }
    return 0;
}

int ralto_module_class::release_connect_disconnect(ralto_module_class& module, void*) {
    module.connect_disconnect_event_.release_waiter();
    return 0;
}

int ralto_module_class::handle_module_data(const module_data_key* first, const module_data_key* last,
                                           const char* key, void* value) {
    if (key == nullptr)
        return 1;
    const auto found = std::find_if(
        first, last, [key](const module_data_key& entry) { return std::strcmp(entry.key, key) == 0; });
    return found == last ? 0 : found->handle(*this, value);
}

int ralto_module_class::get_module_data(const char* key, void* value) {
    static constexpr std::array<module_data_key, 2> keys{{
        {"version", &ralto_module_class::write_version},
        {"connect_disconnect", &ralto_module_class::write_connect_disconnect_payload},
    }};
    return handle_module_data(keys.data(), keys.data() + keys.size(), key, value);
}

int ralto_module_class::set_module_data(const char* key, void* value) {
    static constexpr std::array<module_data_key, 1> keys{{
        {"connect_disconnect_release", &ralto_module_class::release_connect_disconnect},
    }};
    return handle_module_data(keys.data(), keys.data() + keys.size(), key, value);
}

void ralto_module_class::report_hotplug_event(int event_code, const std::string& camera_id) {
    connect_disconnect_event_.report_event(event_code, camera_id);
}

void ralto_module_class::on_device_change(int event_code, const char* device_path) {
    std::shared_ptr<camera_listing_source_class> source;
    {
        platform::scoped_lock_class lock(module_mutex_);
        source = source_;
    }
    std::string camera_id;
    if (source && device_path != nullptr) {
        try {
            camera_id = source->note_device_change(event_code, device_path);
        } catch (...) {
        }
    }
    if (event_code == QX_HOTPLUG_EVENT_ARRIVAL && !camera_id.empty()) {
        platform::scoped_lock_class lock(module_mutex_);
        if (std::find(listed_device_ids_.begin(), listed_device_ids_.end(), camera_id) == listed_device_ids_.end())
            listed_device_ids_.push_back(camera_id);
    }
    report_hotplug_event(event_code, camera_id);
}

}  // namespace qx
