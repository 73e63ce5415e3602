#include "kit/kit_registry_class.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/checks.h"
#include "kit/qx_camera_handle_class.h"

namespace qx::kit {

namespace {

constexpr int device_id_list_size = 2048;

// The families whose cameras discovery lists, in listing order.
constexpr const char* listed_families[] = {QX_QV_DEVICE_TYPE_NAME, QX_RALTO_DEVICE_TYPE_NAME};

// The entries one module contributed to a gathered list
// ("<name>:<entry>,<entry>,.<name>:...."): the text between "<name>:" and the
// next module's name, split at commas, without empty entries and without
// the module's closing ".".
std::vector<std::string> entries_of_module(const std::string& gathered, const std::string& module_name,
                                           const std::list<std::shared_ptr<module_obj>>& modules) {
    const std::string marker = module_name + ":";
    std::size_t start = gathered.find(marker);
    while (start != std::string::npos && start != 0 && gathered[start - 1] != '.') {
        start = gathered.find(marker, start + 1);
    }
    if (start == std::string::npos)
        return {};
    start += marker.size();

    std::size_t end = gathered.size();
    for (const auto& other : modules) {
        const std::string other_marker = "." + other->module_name + ":";
        const std::size_t next = gathered.find(other_marker, start);
        if (next != std::string::npos)
            end = std::min(end, next + 1);
    }
    std::string segment = gathered.substr(start, end - start);
    if (!segment.empty() && segment.back() == '.')
        segment.pop_back();

    std::vector<std::string> entries;
    std::size_t from = 0;
    while (from <= segment.size()) {
        std::size_t comma = segment.find(',', from);
        if (comma == std::string::npos)
            comma = segment.size();
        std::string entry = segment.substr(from, comma - from);
        if (!entry.empty() && entry != ".")
            entries.push_back(std::move(entry));
        from = comma + 1;
    }
    return entries;
}

}  // namespace

const acquisition::module_data_port* kit_registry_class::open_modules() {
    return kit_object ? &kit_object->manager : nullptr;
}

template <typename Store>
void kit_registry_class::revise_listeners(Store store) {
    platform::scoped_lock_class guard(registry_mutex);
    if (!store())
        return;
    // Joined without the registry mutex: the listener, or the application's
    // callback on its thread, may be waiting for it.
    auto retired = hotplug_events.retire_listeners(open_modules());
    guard.unlock();
    retired.clear();
    guard.lock();
    hotplug_events.start_listeners(open_modules());
}

void kit_registry_class::set_connect_callback(camera_connect_callback callback, void* context) {
    revise_listeners([&]() QX_REQUIRES(registry_mutex) {
        return hotplug_events.set_connect_callback(callback, context);
    });
}

void kit_registry_class::set_disconnect_callback(camera_disconnect_callback callback, void* context) {
    revise_listeners([&]() QX_REQUIRES(registry_mutex) {
        return hotplug_events.set_disconnect_callback(callback, context);
    });
}

bool kit_registry_class::is_device_id_open(const std::string& device_id) const {
    return std::any_of(open_handles.begin(), open_handles.end(),
                       [&](const qx_camera_handle_class* open) { return open->device_id() == device_id; });
}

std::string kit_registry_class::serial_number_of(const std::string& device_id) {
    const auto entry = discovered_serials.find(device_id);
    return entry == discovered_serials.end() ? std::string() : entry->second;
}

void kit_registry_class::remember_serial_number(const std::string& device_id, const std::string& serial_number) {
    discovered_serials[device_id] = serial_number;
}

acquisition::arriving_camera kit_registry_class::read_arriving_camera(const std::string& device_type,
                                                                      const std::string& device_id) {
    check_pointer_set(kit_object.get(), "The SDK is not open.");
    // Another device on an open camera would compete with the application's
    // own for the camera.
    check_false(is_device_id_open(device_id), "Camera is already open.");
    auto device = kit_object->manager.create_device(device_type, device_id);
    check_true(device.has_value(), "Error opening camera.");
    qx_camera_handle_class camera(std::move(*device), device_id);
    // Only read from: its end destroys the device and sends nothing.
    camera.abandon();
    acquisition::arriving_camera arrived;
    arrived.serial_number = camera.channel().get("sernum");
    arrived.usb_speed = camera.channel().get("usb_speed");
    return arrived;
}

kit_registry_class& kit_registry_class::instance() {
    // Never destroyed: handles and modules may still be alive while the
    // process exits.
    static kit_registry_class* registry = new kit_registry_class();
    return *registry;
}

kit_class& kit_registry_class::require_kit() {
    check_pointer_set(kit_object.get(), "The SDK is not open.");
    return *kit_object;
}

void kit_registry_class::open_sdk() {
    platform::scoped_lock_class guard(registry_mutex);
    hotplug_events.enable_listeners();
    auto fresh = std::make_unique<kit_class>();
    // The listeners wait on the old kit's modules: they end before it, and
    // are joined without the registry mutex, which they may be waiting for.
    auto retired = hotplug_events.retire_all_listeners();
    std::swap(kit_object, fresh);
    guard.unlock();
    retired.clear();
    guard.lock();
    // The old kit object, if any, is destroyed here, after the new one works.
}

void kit_registry_class::close_sdk() {
    platform::scoped_lock_class guard(registry_mutex);
    check_true(open_handles.empty(), "Cameras must be closed before closing the SDK.");
    // As in open_sdk: the listeners are joined without the registry mutex
    // and before their kit is destroyed.
    auto retired = hotplug_events.retire_all_listeners();
    const std::unique_ptr<kit_class> closed = std::move(kit_object);
    guard.unlock();
    retired.clear();
    guard.lock();
}

void kit_registry_class::discover_cameras(char* serial_numbers, int size) {
    platform::scoped_lock_class guard(registry_mutex);
    kit_class& kit = require_kit();

    std::vector<char> ids(device_id_list_size, '\0');
    std::vector<char> serials(device_id_list_size, '\0');
    if (kit.manager.get_device_ids(ids.data(), device_id_list_size, serials.data(), device_id_list_size) !=
        0) {
        throw std::runtime_error("Error getting camera unique IDs.");
    }
    const std::string gathered_ids(ids.data(), strnlen(ids.data(), ids.size()));
    const std::string gathered_serials(serials.data(), strnlen(serials.data(), serials.size()));

    std::string result;
    for (const char* family : listed_families) {
        const auto family_ids = entries_of_module(gathered_ids, family, kit.manager.modules());
        const auto family_serials = entries_of_module(gathered_serials, family, kit.manager.modules());
        const std::size_t pairs = std::min(family_ids.size(), family_serials.size());
        for (std::size_t index = 0; index < pairs; ++index) {
            result += family_serials[index] + " ";
            discovered_serials[family_ids[index]] = family_serials[index];
        }
    }
    trim_in_place(result);
    // Copied first and judged after: a text of exactly `size` characters is
    // accepted unterminated, a longer one fails with a cut copy in place.
    std::strncpy(serial_numbers, result.c_str(), static_cast<std::size_t>(size));
    if (result.size() > static_cast<std::size_t>(size))
        throw std::runtime_error("Insufficient string size.");
}

void* kit_registry_class::open_camera(const char* serial_number) {
    qx_camera_handle_class* handle = nullptr;
    {
        platform::scoped_lock_class guard(registry_mutex);
        if (serial_number == nullptr)
            throw std::invalid_argument("camera_serial_number");

        std::string device_id;
        for (const auto& [id, serial] : discovered_serials) {
            if (serial == serial_number) {
                device_id = id;
                break;
            }
        }
        check_false(device_id.empty(), "Serial number not found");
        check_false(is_device_id_open(device_id), "Camera is already open.");

        kit_class& kit = require_kit();
        auto device = kit.manager.create_device(QX_QV_DEVICE_TYPE_NAME, device_id);
        if (!device)
            device = kit.manager.create_device(QX_RALTO_DEVICE_TYPE_NAME, device_id);
        check_true(device.has_value(), "Unknown error when attempting to open the camera.");

        // A handle being closed may have destroyed its device already, and
        // the new device may then sit at the freed address.
        const auto holds_device = [&](const qx_camera_handle_class* open) QX_REQUIRES(registry_mutex) {
            return closing_handles.count(open) == 0 && open->device().device() == device->device();
        };
        if (std::any_of(open_handles.begin(), open_handles.end(), holds_device)) {
            device->destroy_device();
            fail_condition_is_true("Camera is already open.");
        }
        handle = new qx_camera_handle_class(std::move(*device), device_id);
        open_handles.push_back(handle);
    }

    // Initialised without the registry mutex: the handle's own methods take
    // the handle mutex and then the registry mutex, and no other thread knows
    // the handle yet, while its place in the list keeps the camera reserved.
    try {
        handle->initialise_after_open();
    } catch (...) {
        handle->abandon();
        delete handle;
        throw;
    }
    return handle;
}

void kit_registry_class::close_camera(void* handle) {
    std::string failures;
    auto* camera = static_cast<qx_camera_handle_class*>(handle);
    try {
        platform::scoped_lock_class guard(registry_mutex);
        validate_handle(handle);
        // The frame loop would free the handle it runs on and join itself.
        check_false(camera->acquisition.called_from_frame_loop(),
                    "A camera cannot be closed from its own frame callback; disarm it there and close it from "
                    "another thread.");
        // A second close of a handle being closed is refused like a stale one.
        if (!closing_handles.insert(camera).second)
            throw std::runtime_error("Camera handle is invalid.");
    } catch (const std::exception& failure) {
        failures += std::string(failure.what()) + " ";
        camera = nullptr;
    }
    delete camera;
    trim_in_place(failures);
    if (!failures.empty())
        fail_trimmed_string_is_not_empty(failures);
}

void kit_registry_class::validate_handle(const void* handle) {
    platform::scoped_lock_class guard(registry_mutex);
    for (const auto* open : open_handles) {
        if (open == handle)
            return;
    }
    throw std::runtime_error("Camera handle is invalid.");
}

void kit_registry_class::remove_handle(const qx_camera_handle_class* handle) {
    platform::scoped_lock_class guard(registry_mutex);
    open_handles.remove(const_cast<qx_camera_handle_class*>(handle));
    closing_handles.erase(handle);
}

}  // namespace qx::kit
