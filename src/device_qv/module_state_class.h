#pragma once
// Module-wide state of the built-in family: its USB identity, the cameras
// found by the last enumeration, the map from camera id to device path, the
// list of open cameras, and the hand-over of hot-plug events.

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "platform/auto_reset_event_class.h"
#include "quendral_vko_device_module.h"
#include "usb/device_enumerator_class.h"

namespace qx::device_qv {

class qv_camera_class;

inline constexpr std::uint32_t qv_vendor_id = 10876;
inline constexpr std::uint32_t qv_product_ids[] = {0x6101, 0x6117, 0x6210, 0x611E};
inline constexpr std::size_t hotplug_id_capacity = 256;

class module_state_class {
  public:
    // Receives each formatted hot-plug log line.
    using log_sink = void (*)(const char* line);

    static module_state_class& instance();

    // Where hot-plug log lines go; none by default. The kit installs its
    // logger front, a module reusing this code may leave it unset.
    void set_log_sink(log_sink sink);

    // Sets the identity filter, creates the hot-plug event and subscribes to
    // the family's devices through the host's monitor. Counted: while a
    // reopened kit initialises the module before the old kit uninitialises
    // it, the one event stays.
    int initialize(qx_hotplug_record* host);
    // The last uninitialisation closes the event, which ends a wait.
    int uninitialize();

    // Lists the family's cameras: ids each followed by ',' and a final '.',
    // serial numbers each followed by ','. A camera that cannot be opened is
    // left out. 1 when a device path cannot be fetched, or when either list
    // and its NUL do not fit its buffer: then nothing is written past either
    // size and the buffers hold no partial list.
    int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers, int serial_numbers_size);

    // The device path last listed for a camera id; empty when unknown.
    std::string device_path_of(const std::string& camera_id) const;

    void add_open_camera(qv_camera_class* camera);
    void remove_open_camera(qv_camera_class* camera);
    std::size_t open_camera_count();

    // Hot-plug: records an arrival or departure and signals the waiter.
    void on_hotplug_event(int event_code, const char* device_path);
    // Blocks until an event is signalled, then writes "1,<id>" or "0,<id>";
    // 0. 1 when the module is not initialised or is uninitialised meanwhile.
    int wait_for_hotplug_payload(char* payload);
    void release_hotplug_waiter();

    usb::usb_identity_filter identity_filter;

  private:
    module_state_class() = default;
    // Enters an id -> path pair, replacing an entry with the same id or path.
    void remember_device(const std::string& camera_id, const std::string& device_path);

    usb::device_enumerator_class enumerator;
    // Hot-plug departures prune the map from the monitor's thread while the
    // kit lists and creates cameras on its own threads.
    mutable platform::mutex_class device_paths_mutex;
    std::map<std::string, std::string> device_paths QX_GUARDED_BY(device_paths_mutex);

    platform::mutex_class open_cameras_mutex;
    std::list<qv_camera_class*> open_cameras QX_GUARDED_BY(open_cameras_mutex);

    std::shared_ptr<platform::auto_reset_event_class> current_hotplug_event() QX_EXCLUDES(hotplug_mutex);

    void log_line(const char* format, ...);

    bool initialised = false;
    std::atomic<log_sink> hotplug_log_sink{nullptr};
    platform::mutex_class hotplug_mutex QX_ACQUIRED_BEFORE(device_paths_mutex);
    int initialisation_count QX_GUARDED_BY(hotplug_mutex) = 0;
    std::shared_ptr<platform::auto_reset_event_class> hotplug_event QX_GUARDED_BY(hotplug_mutex);
    std::int32_t pending_event_code QX_GUARDED_BY(hotplug_mutex) = 0;
    char event_camera_id[hotplug_id_capacity] QX_GUARDED_BY(hotplug_mutex) = {};
    // While a listener fetches events, a new event waits (boundedly) until
    // the last one has been fetched instead of overwriting it: a camera that
    // is unplugged and plugged again at once must give two events.
    bool listener_attached QX_GUARDED_BY(hotplug_mutex) = false;
    bool payload_unread QX_GUARDED_BY(hotplug_mutex) = false;
    platform::condition_variable_class payload_fetched;
    // Waits, under the hot-plug mutex, for the hand-over of a new event:
    // while the last one is unread.
    void wait_for_handover(platform::scoped_lock_class<platform::mutex_class>& guard) QX_REQUIRES(hotplug_mutex);
    void detach_listener() QX_EXCLUDES(hotplug_mutex);
};

}  // namespace qx::device_qv
