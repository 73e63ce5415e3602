#pragma once
// The ralto family's device module behind its C entry points: the cameras a
// plugged-in source lists, the devices made from them, and the module data
// keys ("version", "connect_disconnect", "connect_disconnect_release").

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "camera_listing_source_class.h"
#include "connect_disconnect_event_class.h"
#include "platform/annotated_mutex_class.h"
#include "quendral_vko_device_module.h"

namespace qx {

// The family's USB identity, to which the module subscribes for hot-plug
// notices.
inline constexpr unsigned int ralto_vendor_id = 0x2A7C;
inline constexpr unsigned int ralto_product_ids[] = {0x7101};

class ralto_module_class {
  public:
    // The module instance behind the library's entry points; never
    // destroyed.
    static ralto_module_class& instance();

    ralto_module_class() = default;
    ralto_module_class(const ralto_module_class&) = delete;
    ralto_module_class& operator=(const ralto_module_class&) = delete;

    // Keeps the kit's hot-plug record and subscribes through it to the
    // family's devices. Returns 0.
    int initialize(const qx_hotplug_record* host) QX_EXCLUDES(module_mutex_);
    // Wakes a blocked "connect_disconnect" wait so that no listener stays
    // blocked in a module the kit has let go; a later wait is not woken by
    // it. Returns 0.
    int uninitialize() QX_EXCLUDES(module_mutex_);

    // The kit's hot-plug record given to initialize (all null before it and
    // after uninitialize), for sources that subscribe to their devices.
    qx_hotplug_record get_hotplug_record() QX_EXCLUDES(module_mutex_);

    // Plugs in where cameras come from; null unplugs it (no camera listed).
    void set_camera_listing_source(std::shared_ptr<camera_listing_source_class> source)
        QX_EXCLUDES(module_mutex_);

    // get_device_ids: "id1,id2,." and "serial1,serial2,"; just "." and ""
    // without cameras. 1 when an argument is unusable or a buffer is too
    // small for its text and terminator.
    int list_device_ids(char* device_ids, int device_ids_size, char* serial_numbers, int serial_numbers_size)
        QX_EXCLUDES(module_mutex_);
    // create: 1 unless the id was listed by the last list_device_ids and the
    // source opens it.
    int create_device(const char* device_id, void** device) QX_EXCLUDES(module_mutex_);
    // destroy: 1 for a device this module did not create.
    int destroy_device(void* device) QX_EXCLUDES(module_mutex_);
    // The get/set command pair; 1 for a device this module did not create.
    int send_get_command(void* device, const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size);
    int send_set_command(void* device, const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size);

    // Module data: unknown keys are accepted and do nothing (0); a null key
    // is 1.
    int get_module_data(const char* key, void* value);
    int set_module_data(const char* key, void* value);

    // For sources: a camera arrived (1) or departed (2).
    void report_hotplug_event(int event_code, const std::string& camera_id);
    // The monitor's notice of a device of the family: the source names the
    // camera, an arrival becomes creatable, and the listener is told.
    void on_device_change(int event_code, const char* device_path) QX_EXCLUDES(module_mutex_);

  private:
    using module_data_handler = int (*)(ralto_module_class& module, void* value);
    struct module_data_key {
        const char* key;
        module_data_handler handle;
    };
    static int write_version(ralto_module_class& module, void* value);
    static int write_connect_disconnect_payload(ralto_module_class& module, void* value);
    static int release_connect_disconnect(ralto_module_class& module, void* value);
    int handle_module_data(const module_data_key* first, const module_data_key* last, const char* key,
                           void* value);
    std::shared_ptr<ralto_camera_class> find_device(void* device) QX_EXCLUDES(module_mutex_);
    using camera_command = int (ralto_camera_class::*)(const char*, std::uint64_t, const void*, std::uint64_t,
                                                       char*, std::uint64_t);
    int send_command(camera_command command_kind, void* device, const char* command,
                     std::uint64_t command_size, const void* data, std::uint64_t data_size, char* response,
                     std::uint64_t response_size);

    // Lock order: module_mutex_ is never held while a source or a camera
    // runs, nor while the connect/disconnect event's own lock is taken.
    platform::mutex_class module_mutex_;
    qx_hotplug_record host_ QX_GUARDED_BY(module_mutex_){};
    std::shared_ptr<camera_listing_source_class> source_ QX_GUARDED_BY(module_mutex_);
    std::vector<std::string> listed_device_ids_ QX_GUARDED_BY(module_mutex_);
    std::map<void*, std::shared_ptr<ralto_camera_class>> devices_ QX_GUARDED_BY(module_mutex_);
    connect_disconnect_event_class connect_disconnect_event_;
};

}  // namespace qx
