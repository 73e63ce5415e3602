#pragma once
// The process-wide set of virtual cameras: configuration, plug order and
// ports, device paths, and the hot-plug listeners. Listeners are called on
// the thread that caused the event, with no emulator lock held.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/condition_variable_class.h"
#include "quendral_vko_camera_emulator.h"
#include "virtual_camera_class.h"

namespace qx::emulator {

class emulator_registry_class {
  public:
    /** The one registry of the process. */
    static emulator_registry_class& instance();

    /** Replaces every camera (see qx_emu_reset). */
    void reset(const char* configuration) QX_EXCLUDES(cameras_lock_, listeners_lock_);
    int camera_count(const char* family) QX_EXCLUDES(cameras_lock_);
    std::string camera_path(const char* family, int index) QX_EXCLUDES(cameras_lock_);
    /** The plugged camera at @p path; raises QX_EMU_NO_DEVICE when there is none. */
    std::shared_ptr<virtual_camera_class> find_camera(const std::string& path) QX_EXCLUDES(cameras_lock_);
    /** Like find_camera, but also finds the camera last unplugged from @p path (for its counters). */
    std::shared_ptr<virtual_camera_class> find_camera_or_departed(const std::string& path)
        QX_EXCLUDES(cameras_lock_);

    std::string plug(const char* camera_json) QX_EXCLUDES(cameras_lock_, listeners_lock_);
    void unplug(const std::string& path) QX_EXCLUDES(cameras_lock_, listeners_lock_);
    std::string move(const std::string& path, int new_port) QX_EXCLUDES(cameras_lock_, listeners_lock_);

    int add_listener(qx_emu_hotplug_listener_t listener, void* context)
        QX_EXCLUDES(cameras_lock_, listeners_lock_);
    void remove_listener(int listener_id) QX_EXCLUDES(listeners_lock_);

  private:
    struct plugged_camera {
        int port;
        std::string path;
        std::shared_ptr<virtual_camera_class> camera;
    };
    struct hotplug_event {
        int code;
        std::string path;
        unsigned int vendor_id;
        unsigned int product_id;
    };
    struct listener_entry {
        int id;
        qx_emu_hotplug_listener_t function;
        void* context;
    };

    emulator_registry_class() = default;

    void configure_from_environment() QX_REQUIRES(cameras_lock_);
    std::vector<plugged_camera>::iterator find_plugged(const std::string& path) QX_REQUIRES(cameras_lock_);
    bool port_taken(int port) const QX_REQUIRES(cameras_lock_);
    int choose_port(int wanted) QX_REQUIRES(cameras_lock_);
    /** Completes identities and makes cameras, all or none. */
    std::vector<plugged_camera> make_cameras(std::vector<camera_config_class> configs, bool replace_all)
        QX_REQUIRES(cameras_lock_);
    void add_plugged(plugged_camera entry, std::vector<hotplug_event>& events) QX_REQUIRES(cameras_lock_);
    void remove_plugged(std::vector<plugged_camera>::iterator entry, std::vector<hotplug_event>& events)
        QX_REQUIRES(cameras_lock_);
    void unplug_after_fault(const std::weak_ptr<virtual_camera_class>& camera)
        QX_EXCLUDES(cameras_lock_, listeners_lock_);
    void notify(const std::vector<hotplug_event>& events) QX_EXCLUDES(cameras_lock_, listeners_lock_);

    // Lock order: cameras_lock_, then a camera's own lock. listeners_lock_ is
    // never held together with either, nor while a listener runs.
    platform::mutex_class cameras_lock_;
    bool configured_ QX_GUARDED_BY(cameras_lock_) = false;
    std::vector<plugged_camera> cameras_ QX_GUARDED_BY(cameras_lock_);  // in plug order
    std::map<std::string, std::shared_ptr<virtual_camera_class>> departed_ QX_GUARDED_BY(cameras_lock_);
    int next_port_ QX_GUARDED_BY(cameras_lock_) = 1;
    std::map<camera_family, int> default_serials_ QX_GUARDED_BY(cameras_lock_);

    platform::mutex_class listeners_lock_;
    platform::condition_variable_class listener_finished_;
    std::vector<listener_entry> listeners_ QX_GUARDED_BY(listeners_lock_);
    std::map<int, int> calls_in_progress_ QX_GUARDED_BY(listeners_lock_);  // listener id -> running calls
    int next_listener_id_ QX_GUARDED_BY(listeners_lock_) = 1;
};

}  // namespace qx::emulator
