/**
 * @file quendral_vko_device_module.h
 * @brief The device-module interface: what a library must export to serve a
 *        camera family to the Quendral VKO camera SDK, and the hot-plug
 *        monitor interface that the kit hands to every module.
 *
 * A device module is a shared library exporting the plain C entry points
 * below. The kit loads it when it is opened, admits it only if
 * `qx_module_get_type` returns exactly "DEVICE", and then calls, in order:
 *
 *  1. `qx_module_get_type`, `qx_module_get_name` (admission);
 *  2. `qx_module_initialize` once, with the kit's hot-plug record;
 *  3. any number of `get_device_ids`;
 *  4. per opened camera: `create`, then `get_data__returns_zero_for_success` /
 *     `set_data__returns_zero_for_success`, then `destroy`;
 *  5. `qx_get_module_data` / `qx_set_module_data` at any time after
 *     initialisation;
 *  6. `qx_module_uninitialize` when the kit closes.
 *
 * All strings are NUL-terminated single-byte text. A status is an `int`,
 * 0 for success.
 */
#ifndef QUENDRAL_VKO_DEVICE_MODULE_H
#define QUENDRAL_VKO_DEVICE_MODULE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Hot-plug monitor library
 *  The monitor library exports exactly these three functions under the names
 *  `open`, `close` and `hotplug_event_subscribe`.
 *  @{ */

/** Hot-plug event code: a device arrived. */
#define QX_HOTPLUG_EVENT_ARRIVAL 1
/** Hot-plug event code: a device departed. */
#define QX_HOTPLUG_EVENT_DEPARTURE 2

/**
 * Called on the monitor's own event thread for every arrival or departure of
 * a subscribed device.
 * @param event_code  #QX_HOTPLUG_EVENT_ARRIVAL or #QX_HOTPLUG_EVENT_DEPARTURE.
 * @param device_path The device path, in the same form that device
 *                    enumeration produces (see docs/device_paths.md).
 * @param context     The context given to `hotplug_event_subscribe`.
 */
typedef void (*qx_hotplug_callback_t)(int event_code, const char* device_path, void* context);

/** `int open(void)`: starts the monitor (reference counted); 0 on success. */
typedef int (*qx_hotplug_open_t)(void);
/** `int close(void)`: releases one `open`; the last one stops the event thread. */
typedef int (*qx_hotplug_close_t)(void);
/**
 * `int hotplug_event_subscribe(vendor_id, product_id, callback, context)`:
 * subscribes to arrivals and departures of devices with these ids; 0 on success.
 */
typedef int (*qx_hotplug_event_subscribe_t)(unsigned int vendor_id, unsigned int product_id,
                                            qx_hotplug_callback_t callback, void* context);
/** @} */

/**
 * The kit's hot-plug record, passed to `qx_module_initialize`. A module
 * subscribes to its own devices through `hotplug_event_subscribe`.
 */
typedef struct qx_hotplug_record {
    void* monitor_library;                                /**< platform handle of the monitor library */
    qx_hotplug_open_t open;                               /**< the monitor's `open` */
    qx_hotplug_close_t close;                             /**< the monitor's `close` */
    qx_hotplug_event_subscribe_t hotplug_event_subscribe; /**< the monitor's `hotplug_event_subscribe` */
} qx_hotplug_record;

/** @name Device-module entry points
 *  The first five are required; the others are looked up and may be absent.
 *  @{ */

/** `qx_module_initialize(host)`: called once at admission; 0 on success. */
typedef int (*qx_module_initialize_t)(qx_hotplug_record* host);
/** `qx_module_uninitialize()`: called when the kit closes; 0 on success. */
typedef int (*qx_module_uninitialize_t)(void);
/** `qx_get_function(name)`: address of a named module function, or null. */
typedef void* (*qx_get_function_t)(const char* function_name);
/** `qx_module_get_name()`: the family's device-type name, e.g. "QUENDRAL_VKO_QV_CAMERA_DEVICE". */
typedef const char* (*qx_module_get_name_t)(void);
/** `qx_module_get_type()`: a device module returns "DEVICE". */
typedef const char* (*qx_module_get_type_t)(void);

/**
 * `get_device_ids(ids, ids_size, serial_numbers, serial_numbers_size)`:
 * fills both buffers with comma-separated entries, the n-th serial number
 * belonging to the n-th device id. The kit passes two zero-filled buffers of
 * 2,048 bytes.
 */
typedef int (*qx_get_device_ids_t)(char* device_ids, int device_ids_size, char* serial_numbers,
                                   int serial_numbers_size);
/** `create(device_id, device)`: makes the device for an id listed by `get_device_ids`. */
typedef int (*qx_create_t)(const char* device_id, void** device);
/** `destroy(device)`: releases a device made by `create`. */
typedef int (*qx_destroy_t)(void* device);
/**
 * `get_data__returns_zero_for_success` and `set_data__returns_zero_for_success`:
 * send one command to a device.
 * @param device        the device from `create`
 * @param command       NUL-terminated command text
 * @param command_size  bytes of the command including its NUL
 * @param data          optional parameter bytes (meaning depends on the command)
 * @param data_size     size of the parameter bytes, or a value
 * @param response      reply buffer; the module writes a NUL-terminated text
 * @param response_size bytes of the reply buffer (the kit passes 1,024)
 */
typedef int (*qx_device_data_t)(void* device, const char* command, uint64_t command_size, const void* data,
                                uint64_t data_size, char* response, uint64_t response_size);
/** `qx_get_module_data(key, value, reserved)`: module-wide data, e.g. "version". */
typedef int (*qx_get_module_data_t)(const char* key, void* value, int32_t reserved);
/** `qx_set_module_data(key, value, reserved)`: module-wide settings and signals. */
typedef int (*qx_set_module_data_t)(const char* key, void* value, int32_t reserved);
/** @} */

/** The name under which the SDK's own camera family is admitted. */
#define QX_QV_DEVICE_TYPE_NAME "QUENDRAL_VKO_QV_CAMERA_DEVICE"
/** The name under which the second camera family's module is admitted. */
#define QX_RALTO_DEVICE_TYPE_NAME "QUENDRAL_VKO_RALTO_CAMERA_DEVICE"
/** The type every device module reports. */
#define QX_DEVICE_MODULE_TYPE "DEVICE"

#ifdef __cplusplus
}
#endif

#endif
