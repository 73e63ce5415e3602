#include "acquisition/hotplug_events_class.h"

#include <algorithm>
#include <utility>

#include "base/checks.h"
#include "quendral_vko_device_module.h"

namespace qx::acquisition {

namespace {

constexpr char connect_disconnect_key[] = "connect_disconnect";
constexpr char release_key[] = "connect_disconnect_release";

struct port_type_word {
    std::string_view usb_speed;
    int port_type;
};
constexpr port_type_word port_type_words[] = {{"USB 1.0", 0}, {"USB 2.0", 1}, {"USB 3.0", 2}};
constexpr int unknown_port_type = 3;

}  // namespace

const std::array<hotplug_family, 2>& hotplug_events_class::families() {
    static constexpr std::array<hotplug_family, 2> known = {{
        {QX_RALTO_DEVICE_TYPE_NAME, "RALTO_CONNECT_DISCONNECT"},
        {QX_QV_DEVICE_TYPE_NAME, "QV_CONNECT_DISCONNECT"},
    }};
    return known;
}

int hotplug_events_class::port_type_of(std::string_view usb_speed) {
    const auto* word = std::find_if(std::begin(port_type_words), std::end(port_type_words),
                                    [&](const port_type_word& entry) { return entry.usb_speed == usb_speed; });
    return word == std::end(port_type_words) ? unknown_port_type : word->port_type;
}

bool hotplug_events_class::set_connect_callback(camera_connect_callback callback, void* context) {
    if (callback == nullptr) {
        connect_callback = nullptr;
        connect_context = nullptr;
        return false;
    }
    connect_callback = callback;
    connect_context = context;
    return true;
}

bool hotplug_events_class::set_disconnect_callback(camera_disconnect_callback callback, void* context) {
    if (callback == nullptr) {
        // The context goes to the connect callback: applications register
        // one context for both and clear the disconnect side with it.
        disconnect_callback = nullptr;
        connect_context = context;
        return false;
    }
    disconnect_callback = callback;
    disconnect_context = context;
    return true;
}

void hotplug_events_class::enable_listeners() {
    for (auto& flag : listener_enabled) flag.exchange(1);
}

hotplug_events_class::retired_listeners hotplug_events_class::retire_all_listeners() {
    retired_listeners retired;
    for (auto& listener : listeners) {
        if (listener)
            retired.push_back(std::move(listener));
    }
    // Stopped at once; only the joins wait for the caller.
    for (auto& listener : retired) listener->request_stop();
    return retired;
}

hotplug_events_class::retired_listeners hotplug_events_class::retire_listeners(const module_data_port* modules) {
    if (!has_callback())
        return retire_all_listeners();
    retired_listeners retired;
    // Before the kit is opened there is no module to listen to; the enable
    // flags stay set for the first registration after it opens.
    if (modules == nullptr)
        return retired;
    for (std::size_t index = 0; index < families().size(); ++index) {
        if (listener_enabled.at(index).load() == 1 && listeners[index]) {
            listeners[index]->request_stop();
            retired.push_back(std::move(listeners[index]));
        }
    }
    return retired;
}

void hotplug_events_class::start_listeners(const module_data_port* modules) {
    if (modules == nullptr || !has_callback())
        return;
    const module_data_port* const manager = modules;
    for (std::size_t index = 0; index < families().size(); ++index) {
        // A registration made while the old listener was being joined may
        // have started this family's listener and taken its flag already.
        if (listeners[index] || listener_enabled.at(index).exchange(0) != 1)
            continue;
        const std::string device_type = families()[index].device_type;
        listeners[index] = std::make_unique<hotplug_listener_class>(
            families()[index].listener_name,
            [manager, device_type](char* payload) {
                return manager->get_module_data(device_type, connect_disconnect_key, payload, 0);
            },
            [this, device_type](std::string_view payload) { handle_payload(device_type, payload); },
            [manager, device_type] { manager->set_module_data(device_type, release_key, nullptr, 0); });
    }
}

void hotplug_events_class::handle_payload(const std::string& device_type, std::string_view payload) {
    // A module that was woken without an event writes nothing.
    if (payload.empty())
        return;
    const std::size_t comma = payload.find(',');
    const std::string_view flag = payload.substr(0, comma);
    const std::string camera_id(comma == std::string_view::npos ? std::string_view() : payload.substr(comma + 1));
    if (flag == "1") {
        report_connect(device_type, camera_id);
    } else {
        report_disconnect(camera_id);
    }
}

void hotplug_events_class::report_connect(const std::string& device_type, const std::string& camera_id) {
    std::string serial_number;
    int port_type = unknown_port_type;
    camera_connect_callback callback = nullptr;
    void* context = nullptr;
    {
        platform::scoped_lock_class guard(registry.registry_lock());
        const arriving_camera arrived = registry.read_arriving_camera(device_type, camera_id);
        serial_number = arrived.serial_number;
        port_type = port_type_of(arrived.usb_speed);
        registry.remember_serial_number(camera_id, serial_number);
        callback = connect_callback;
        context = connect_context;
    }
    if (callback != nullptr)
        callback(serial_number.c_str(), port_type, context);
}

void hotplug_events_class::report_disconnect(const std::string& camera_id) {
    std::string serial_number;
    camera_disconnect_callback callback = nullptr;
    void* context = nullptr;
    {
        platform::scoped_lock_class guard(registry.registry_lock());
        callback = disconnect_callback;
        context = disconnect_context;
        if (callback == nullptr)
            return;
        serial_number = registry.serial_number_of(camera_id);
        kit::check_true(!serial_number.empty(), "Expected a valid serial number.");
    }
    callback(serial_number.c_str(), context);
}

}  // namespace qx::acquisition
