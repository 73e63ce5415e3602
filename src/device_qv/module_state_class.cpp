#include "device_qv/module_state_class.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <vector>

#define STB_SPRINTF_IMPLEMENTATION
#define STB_SPRINTF_STATIC
#define STB_SPRINTF_NOUNALIGNED
#include <stb/stb_sprintf.h>

#include "device_qv/qv_camera_class.h"
#include "usb/usb_driver_base.h"

namespace qx::device_qv {

namespace {

// A log line holds a device path and a few words of text.
constexpr std::size_t hotplug_log_line_size = usb::device_path_capacity + 128;
// "1," or "0,", the id and the terminator.
constexpr std::size_t hotplug_payload_capacity = hotplug_id_capacity + 3;
// Longest wait of a new hot-plug event for the listener to fetch the last.
constexpr std::chrono::seconds handover_wait{5};

void module_hotplug_callback(int event_code, const char* device_path, void*) {
    module_state_class::instance().on_hotplug_event(event_code, device_path);
}

}  // namespace

module_state_class& module_state_class::instance() {
    // Lives until the library is unloaded; never destroyed before.
    static module_state_class* state = new module_state_class();
    return *state;
}

void module_state_class::set_log_sink(log_sink sink) {
    hotplug_log_sink.store(sink);
}

void module_state_class::log_line(const char* format, ...) {
    const log_sink sink = hotplug_log_sink.load();
    if (sink == nullptr)
        return;
    char line[hotplug_log_line_size];
    va_list arguments;
    va_start(arguments, format);
    stbsp_vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    sink(line);
}

int module_state_class::initialize(qx_hotplug_record* host) {
    identity_filter = {};
    identity_filter.vendor_id = qv_vendor_id;
    std::copy(std::begin(qv_product_ids), std::end(qv_product_ids), identity_filter.product_ids.begin());
    initialised = true;
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        if (initialisation_count++ == 0)
            hotplug_event = std::make_shared<platform::auto_reset_event_class>();
    }
    if (host != nullptr && host->hotplug_event_subscribe != nullptr) {
        for (const std::uint32_t product : qv_product_ids) {
            host->hotplug_event_subscribe(qv_vendor_id, product, &module_hotplug_callback, nullptr);
        }
    }
    return 0;
}

int module_state_class::uninitialize() {
    std::shared_ptr<platform::auto_reset_event_class> closing;
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        if (initialisation_count > 0 && --initialisation_count == 0) {
            // The stored event is cleared before it is closed, so that no new
            // wait starts on a closed event.
            closing = std::move(hotplug_event);
            hotplug_event.reset();
        }
    }
    if (closing) {
        closing->close();
        detach_listener();
    }
    return 0;
}

std::shared_ptr<platform::auto_reset_event_class> module_state_class::current_hotplug_event() {
    platform::scoped_lock_class guard(hotplug_mutex);
    return hotplug_event;
}

void module_state_class::remember_device(const std::string& camera_id, const std::string& device_path) {
    platform::scoped_lock_class guard(device_paths_mutex);
    for (auto entry = device_paths.begin(); entry != device_paths.end(); ++entry) {
        if (entry->first == camera_id || entry->second == device_path) {
            device_paths.erase(entry);
            break;
        }
    }
    device_paths[camera_id] = device_path;
}

int module_state_class::get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                       int serial_numbers_size) {
    if (device_ids == nullptr || serial_numbers == nullptr || device_ids_size < 1 || serial_numbers_size < 1)
        return 1;
    std::memset(device_ids, 0, static_cast<std::size_t>(device_ids_size));
    int count = 0;
    try {
        count = enumerator.enumerate(identity_filter);
    } catch (...) {
        return 1;
    }
    // Written with bounds: at most eight cameras of 100-byte ids always fit
    // the 2,048-byte buffers the kit passes, and nothing ever runs past them.
    std::string ids;
    std::string serials;
    for (int index = 0; index < count; ++index) {
        char path[usb::device_path_capacity] = {};
        if (enumerator.get_device_path(index, path, sizeof path) == 0)
            return 1;
        const std::string device_path(path, strnlen(path, sizeof path));
        try {
            auto transport = usb::open_usb_driver(device_path);
            qv_camera_class camera(transport.get());
            ids += camera.id() + ",";
            serials += camera.serial_number() + ",";
            remember_device(camera.id(), device_path);
        } catch (...) {
            // A camera that cannot be opened, or answers with an empty id,
            // is left out; the next one is still listed.
        }
    }
    ids += ".";
    // Both lists with their NULs, or neither: a cut list would pair the
    // wrong serial number with an id.
    if (ids.size() >= static_cast<std::size_t>(device_ids_size) ||
        serials.size() >= static_cast<std::size_t>(serial_numbers_size))
        return 1;
    std::memcpy(device_ids, ids.c_str(), ids.size() + 1);
    std::memcpy(serial_numbers, serials.c_str(), serials.size() + 1);
    return 0;
}

std::string module_state_class::device_path_of(const std::string& camera_id) const {
    platform::scoped_lock_class guard(device_paths_mutex);
    const auto entry = device_paths.find(camera_id);
    return entry == device_paths.end() ? std::string() : entry->second;
}

void module_state_class::add_open_camera(qv_camera_class* camera) {
    platform::scoped_lock_class guard(open_cameras_mutex);
    open_cameras.push_back(camera);
}

void module_state_class::remove_open_camera(qv_camera_class* camera) {
    platform::scoped_lock_class guard(open_cameras_mutex);
    const auto entry = std::find(open_cameras.begin(), open_cameras.end(), camera);
    if (entry != open_cameras.end())
        open_cameras.erase(entry);
}

std::size_t module_state_class::open_camera_count() {
    platform::scoped_lock_class guard(open_cameras_mutex);
    return open_cameras.size();
}

void module_state_class::on_hotplug_event(int event_code, const char* device_path) {
    const std::string path = device_path == nullptr ? std::string() : std::string(device_path);
    auto event = current_hotplug_event();
    if (event_code == QX_HOTPLUG_EVENT_ARRIVAL) {
        log_line("usb_hotplug_callback() - HOTPLUG_CONNECT path:%s \n", path.c_str());
        std::string camera_id;
        try {
            auto transport = usb::open_usb_driver(path);
            qv_camera_class camera(transport.get());
            camera_id = camera.id();
            // The kit creates the arriving camera by its id next, before any
            // new enumeration has listed it.
            remember_device(camera_id, path);
        } catch (...) {
            // An arrival whose camera cannot be read is handed over with an
            // empty id; the kit's listener refuses it.
        }
        {
            platform::scoped_lock_class guard(hotplug_mutex);
            wait_for_handover(guard);
            pending_event_code = 1;
            std::memset(event_camera_id, 0, sizeof event_camera_id);
            std::strncpy(event_camera_id, camera_id.c_str(), sizeof event_camera_id - 1);
            payload_unread = true;
        }
        if (event)
            event->set();
        return;
    }
    if (event_code == QX_HOTPLUG_EVENT_DEPARTURE) {
        log_line("usb_hotplug_callback() - HOTPLUG_DISCONNECT path:%s\n", path.c_str());
        {
            platform::scoped_lock_class guard(hotplug_mutex);
            wait_for_handover(guard);
            platform::scoped_lock_class paths_guard(device_paths_mutex);
            payload_unread = true;
            pending_event_code = 2;
            std::memset(event_camera_id, 0, sizeof event_camera_id);
            for (auto entry = device_paths.begin(); entry != device_paths.end(); ++entry) {
                if (entry->second == path) {
                    std::strncpy(event_camera_id, entry->first.c_str(), sizeof event_camera_id - 1);
                    device_paths.erase(entry);
                    break;
                }
            }
        }
        if (event)
            event->set();
        return;
    }
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        wait_for_handover(guard);
        pending_event_code = 0;
        std::memset(event_camera_id, 0, sizeof event_camera_id);
    }
    log_line("usb_hotplug_callback() - UNKNOWN EVENT (0x%08x)\n", static_cast<unsigned int>(event_code));
}

void module_state_class::wait_for_handover(platform::scoped_lock_class<platform::mutex_class>& guard) {
    // Bounded: a listener held up in the application's callback for longer
    // loses the older event rather than stalling the monitor.
    payload_fetched.wait_for(guard, handover_wait,
                             [&]() QX_REQUIRES(hotplug_mutex) { return !payload_unread || !listener_attached; });
}

int module_state_class::wait_for_hotplug_payload(char* payload) {
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        listener_attached = true;
    }
    auto event = current_hotplug_event();
    // A wait on a closed event would return at once, for ever: the waiter
    // learns that the module has been shut down instead.
    if (!event || !event->wait())
        return 1;
    char written[hotplug_payload_capacity] = {};
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        if (pending_event_code == 1)
            stbsp_snprintf(written, sizeof written, "1,%s", event_camera_id);
        if (pending_event_code == 2)
            stbsp_snprintf(written, sizeof written, "0,%s", event_camera_id);
        payload_unread = false;
    }
    payload_fetched.notify_all();
    if (payload != nullptr && written[0] != '\0')
        std::memcpy(payload, written, std::strlen(written) + 1);
    log_line("qx_get_module_data(connect_disconnect) - %s\n", written);
    return 0;
}

void module_state_class::release_hotplug_waiter() {
    // A release lets the listener go: events no longer wait for it.
    detach_listener();
    if (auto event = current_hotplug_event())
        event->set();
}

void module_state_class::detach_listener() {
    {
        platform::scoped_lock_class guard(hotplug_mutex);
        listener_attached = false;
    }
    payload_fetched.notify_all();
}

}  // namespace qx::device_qv
