#include "emulator_registry_class.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "emulator_error_class.h"

namespace qx::emulator {

namespace {

constexpr int hotplug_arrival = 1;
constexpr int hotplug_departure = 2;

// The listener running on this thread, so that it may remove itself.
thread_local int listener_running_here = 0;

std::string path_of(int port, const camera_config_class& config) {
    char path[64];
    std::snprintf(path, sizeof path, "EMU:BUS_000:PORT_%d:VID_%04X&PID_%04X", port, config.vendor_id,
                  config.product_id);
    return path;
}

bool same_path(const std::string& a, const std::string& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

// Whether a camera belongs to @p family (null: every family).
bool of_family(const camera_config_class& config, const char* family) {
    if (family == nullptr) {
        return true;
    }
    const std::string_view word(family);
    if (word != camera_config_class::family_word(camera_family::qv) &&
        word != camera_config_class::family_word(camera_family::ralto)) {
        throw emulator_error_class(
            QX_EMU_INVALID, "unknown family '" + std::string(word) + "' (expected \"qv\" or \"ralto\")");
    }
    return camera_config_class::family_word(config.family) == word;
}

}  // namespace

emulator_registry_class& emulator_registry_class::instance() {
    // Never destroyed: devices and listeners may still be used while the process exits.
    static auto* registry = new emulator_registry_class();
    return *registry;
}

void emulator_registry_class::configure_from_environment() {
    if (configured_) {
        return;
    }
    configured_ = true;
    const char* setting = std::getenv("QX_EMULATED_CAMERAS");
    if (setting == nullptr) {
        return;
    }
    try {
        for (auto& entry : make_cameras(camera_config_class::parse_set(setting), true)) {
            std::vector<hotplug_event> no_listener_yet;
            add_plugged(std::move(entry), no_listener_yet);
        }
    } catch (const std::exception& error) {
        // No caller can be told at this point; the set stays empty.
        std::fprintf(stderr, "QX_EMULATED_CAMERAS: %s\n", error.what());
    }
}

std::vector<emulator_registry_class::plugged_camera>::iterator emulator_registry_class::find_plugged(
    const std::string& path) {
    return std::find_if(cameras_.begin(), cameras_.end(),
                        [&](const plugged_camera& entry) { return same_path(entry.path, path); });
}

bool emulator_registry_class::port_taken(int port) const {
    return std::any_of(cameras_.begin(), cameras_.end(),
                       [&](const plugged_camera& entry) { return entry.port == port; });
}

int emulator_registry_class::choose_port(int wanted) {
    if (wanted > 0) {
        if (port_taken(wanted)) {
            throw emulator_error_class(QX_EMU_INVALID,
                                       "port " + std::to_string(wanted) + " is already taken");
        }
        return wanted;
    }
    while (port_taken(next_port_)) {
        ++next_port_;
    }
    return next_port_++;
}

std::vector<emulator_registry_class::plugged_camera> emulator_registry_class::make_cameras(
    std::vector<camera_config_class> configs, bool replace_all) {
    auto serials = replace_all ? std::map<camera_family, int>{} : default_serials_;
    std::set<std::string> ids;
    std::set<int> ports;
    if (!replace_all) {
        for (const auto& entry : cameras_) {
            ids.insert(entry.camera->config().id);
            ports.insert(entry.port);
        }
    }
    // Ports are checked here for the whole set first, so that nothing changes on a failure.
    for (std::size_t i = 0; i < configs.size(); ++i) {
        auto& config = configs[i];
        const std::string where = replace_all ? "camera " + std::to_string(i + 1) : std::string("camera");
        if (config.serial.empty()) {
            config.complete_identity(++serials[config.family]);
        } else {
            config.complete_identity(0);
        }
        if (!ids.insert(config.id).second) {
            throw emulator_error_class(QX_EMU_INVALID, where + ": key 'id': \"" + config.id +
                                                           "\" is already used by another camera");
        }
        if (config.port > 0 && !ports.insert(config.port).second) {
            throw emulator_error_class(QX_EMU_INVALID, where + ": key 'port': port " +
                                                           std::to_string(config.port) + " is already taken");
        }
    }
    std::vector<plugged_camera> made;
    for (auto& config : configs) {
        made.push_back({config.port, {}, std::make_shared<virtual_camera_class>(std::move(config))});
    }
    default_serials_ = serials;
    return made;
}

void emulator_registry_class::add_plugged(plugged_camera entry, std::vector<hotplug_event>& events) {
    entry.port = choose_port(entry.port);
    entry.path = path_of(entry.port, entry.camera->config());
    std::weak_ptr<virtual_camera_class> weak = entry.camera;
    entry.camera->set_unplug_handler([this, weak] { unplug_after_fault(weak); });
    departed_.erase(entry.path);
    events.push_back(
        {hotplug_arrival, entry.path, entry.camera->config().vendor_id, entry.camera->config().product_id});
    cameras_.push_back(std::move(entry));
}

void emulator_registry_class::remove_plugged(std::vector<plugged_camera>::iterator entry,
                                             std::vector<hotplug_event>& events) {
    entry->camera->mark_unplugged();
    events.push_back({hotplug_departure, entry->path, entry->camera->config().vendor_id,
                      entry->camera->config().product_id});
    departed_[entry->path] = entry->camera;
    cameras_.erase(entry);
}

void emulator_registry_class::reset(const char* configuration) {
    auto configs = camera_config_class::parse_set(configuration == nullptr ? "" : configuration);
    std::vector<hotplug_event> events;
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configured_ = true;
        auto made = make_cameras(std::move(configs), true);
        while (!cameras_.empty()) {
            remove_plugged(cameras_.begin(), events);
        }
        departed_.clear();
        // Cameras without a port take the lowest free ones in plug order,
        // skipping the ports that others ask for.
        std::set<int> reserved;
        for (const auto& entry : made) {
            reserved.insert(entry.port);
        }
        next_port_ = 1;
        for (auto& entry : made) {
            if (entry.port == 0) {
                while (reserved.count(next_port_) != 0) {
                    ++next_port_;
                }
                entry.port = next_port_++;
            }
        }
        for (auto& entry : made) {
            add_plugged(std::move(entry), events);
        }
    }
    notify(events);
}

int emulator_registry_class::camera_count(const char* family) {
    platform::scoped_lock_class guard(cameras_lock_);
    configure_from_environment();
    int count = 0;
    for (const auto& entry : cameras_) {
        count += of_family(entry.camera->config(), family) ? 1 : 0;
    }
    if (family != nullptr && cameras_.empty()) {
        of_family(camera_config_class{}, family);  // still refuses an unknown family word
    }
    return count;
}

std::string emulator_registry_class::camera_path(const char* family, int index) {
    platform::scoped_lock_class guard(cameras_lock_);
    configure_from_environment();
    int seen = 0;
    for (const auto& entry : cameras_) {
        if (of_family(entry.camera->config(), family) && seen++ == index) {
            return entry.path;
        }
    }
    throw emulator_error_class(QX_EMU_INVALID, "there is no camera at index " + std::to_string(index) + " (" +
                                                   std::to_string(seen) + " plugged in)");
}

std::shared_ptr<virtual_camera_class> emulator_registry_class::find_camera(const std::string& path) {
    platform::scoped_lock_class guard(cameras_lock_);
    configure_from_environment();
    const auto entry = find_plugged(path);
    if (entry == cameras_.end()) {
        throw emulator_error_class(QX_EMU_NO_DEVICE, "no camera is plugged in at '" + path + "'");
    }
    return entry->camera;
}

std::shared_ptr<virtual_camera_class> emulator_registry_class::find_camera_or_departed(
    const std::string& path) {
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configure_from_environment();
        if (const auto entry = find_plugged(path); entry != cameras_.end()) {
            return entry->camera;
        }
        for (const auto& [departed_path, camera] : departed_) {
            if (same_path(departed_path, path)) {
                return camera;
            }
        }
    }
    throw emulator_error_class(QX_EMU_NO_DEVICE, "no camera was ever plugged in at '" + path + "'");
}

std::string emulator_registry_class::plug(const char* camera_json) {
    auto config = camera_config_class::defaults_of(camera_family::qv);
    if (camera_json != nullptr) {
        nlohmann::json object;
        try {
            object = nlohmann::json::parse(camera_json);
        } catch (const nlohmann::json::parse_error& error) {
            throw emulator_error_class(QX_EMU_INVALID,
                                       std::string("camera: JSON syntax error: ") + error.what());
        }
        config = camera_config_class::from_json(object, "camera");
    }
    std::vector<hotplug_event> events;
    std::string path;
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configure_from_environment();
        auto made = make_cameras({std::move(config)}, false);
        add_plugged(std::move(made.front()), events);
        path = cameras_.back().path;
    }
    notify(events);
    return path;
}

void emulator_registry_class::unplug(const std::string& path) {
    std::vector<hotplug_event> events;
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configure_from_environment();
        const auto entry = find_plugged(path);
        if (entry == cameras_.end()) {
            throw emulator_error_class(QX_EMU_NO_DEVICE, "no camera is plugged in at '" + path + "'");
        }
        remove_plugged(entry, events);
    }
    notify(events);
}

void emulator_registry_class::unplug_after_fault(const std::weak_ptr<virtual_camera_class>& camera) {
    const auto target = camera.lock();
    if (!target) {
        return;
    }
    std::vector<hotplug_event> events;
    {
        platform::scoped_lock_class guard(cameras_lock_);
        const auto entry =
            std::find_if(cameras_.begin(), cameras_.end(),
                         [&](const plugged_camera& candidate) { return candidate.camera == target; });
        if (entry != cameras_.end()) {
            remove_plugged(entry, events);
        } else {
            target->mark_unplugged();
        }
    }
    notify(events);
}

std::string emulator_registry_class::move(const std::string& path, int new_port) {
    std::vector<hotplug_event> events;
    std::string new_path;
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configure_from_environment();
        const auto entry = find_plugged(path);
        if (entry == cameras_.end()) {
            throw emulator_error_class(QX_EMU_NO_DEVICE, "no camera is plugged in at '" + path + "'");
        }
        if (new_port > 0 && new_port != entry->port && port_taken(new_port)) {
            throw emulator_error_class(QX_EMU_INVALID,
                                       "port " + std::to_string(new_port) + " is already taken");
        }
        // The same camera on another port: a new device with the old identity,
        // name and user memory; its settings start afresh, as after a power cycle.
        auto config = entry->camera->config();
        config.port = new_port;
        auto moved = std::make_shared<virtual_camera_class>(config);
        moved->adopt_persistent_state(*entry->camera);
        remove_plugged(entry, events);
        add_plugged({new_port, {}, std::move(moved)}, events);
        new_path = cameras_.back().path;
    }
    notify(events);
    return new_path;
}

int emulator_registry_class::add_listener(qx_emu_hotplug_listener_t listener, void* context) {
    if (listener == nullptr) {
        throw emulator_error_class(QX_EMU_INVALID, "listener is null");
    }
    {
        platform::scoped_lock_class guard(cameras_lock_);
        configure_from_environment();
    }
    platform::scoped_lock_class guard(listeners_lock_);
    listeners_.push_back({next_listener_id_, listener, context});
    return next_listener_id_++;
}

void emulator_registry_class::remove_listener(int listener_id) {
    platform::scoped_lock_class guard(listeners_lock_);
    const auto entry =
        std::find_if(listeners_.begin(), listeners_.end(),
                     [&](const listener_entry& candidate) { return candidate.id == listener_id; });
    if (entry == listeners_.end()) {
        throw emulator_error_class(QX_EMU_INVALID, "there is no listener " + std::to_string(listener_id));
    }
    listeners_.erase(entry);
    // Wait for calls running on other threads; a listener removing itself
    // from within its own call returns at once.
    listener_finished_.wait(guard, [&]() QX_REQUIRES(listeners_lock_) {
        const int running = calls_in_progress_[listener_id] - (listener_running_here == listener_id ? 1 : 0);
        return running <= 0;
    });
    calls_in_progress_.erase(listener_id);
}

void emulator_registry_class::notify(const std::vector<hotplug_event>& events) {
    for (const auto& event : events) {
        std::vector<listener_entry> snapshot;
        {
            platform::scoped_lock_class guard(listeners_lock_);
            snapshot = listeners_;
        }
        for (const auto& listener : snapshot) {
            {
                platform::scoped_lock_class guard(listeners_lock_);
                const bool still_listed =
                    std::any_of(listeners_.begin(), listeners_.end(),
                                [&](const listener_entry& candidate) { return candidate.id == listener.id; });
                if (!still_listed) {
                    continue;
                }
                ++calls_in_progress_[listener.id];
            }
            const int outer = listener_running_here;
            listener_running_here = listener.id;
            listener.function(event.code, event.path.c_str(), event.vendor_id, event.product_id,
                              listener.context);
            listener_running_here = outer;
            {
                platform::scoped_lock_class guard(listeners_lock_);
                --calls_in_progress_[listener.id];
            }
            listener_finished_.notify_all();
        }
    }
}

}  // namespace qx::emulator
