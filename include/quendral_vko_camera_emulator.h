/**
 * @file quendral_vko_camera_emulator.h
 * @brief Virtual cameras for development, tests and benchmarks.
 *
 * The emulator library keeps one process-wide set of virtual cameras. Each
 * one behaves like a USB camera of its family on the wire: a command channel
 * (OUT endpoint 0x02, IN endpoint 0x82) speaking the camera's text protocol,
 * and an image channel (IN endpoint 0x83) delivering 16,384-byte packets.
 * The kit's emulated USB transport, the hot-plug monitor and the tools all
 * share this set.
 *
 * The set is configured from the environment variable `QX_EMULATED_CAMERAS`
 * the first time any function here is called: either a number N (N cameras
 * with default settings) or the path of a JSON file describing each camera.
 * `qx_emu_reset` replaces the whole set at run time. See docs/emulator.md for
 * the protocol, the test patterns and every configuration key.
 *
 * Every function is thread-safe. Functions returning `int` return
 * #QX_EMU_OK (0) on success or a negative #qx_emu_status; the calling
 * thread's `qx_emu_get_last_error` then explains the failure.
 */
#ifndef QUENDRAL_VKO_CAMERA_EMULATOR_H
#define QUENDRAL_VKO_CAMERA_EMULATOR_H

#include <stddef.h>
#include <stdint.h>

/** @cond internal */
#if defined(_WIN32)
#if defined(QX_BUILDING_EMULATOR)
#define QX_EMU_API __declspec(dllexport)
#else
#define QX_EMU_API __declspec(dllimport)
#endif
#else
#define QX_EMU_API __attribute__((visibility("default")))
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** Results of emulator calls. */
typedef enum qx_emu_status {
    QX_EMU_OK = 0,             /**< success */
    QX_EMU_TIMEOUT = -1,       /**< nothing arrived within the time-out */
    QX_EMU_STALL = -2,         /**< the endpoint is stalled until cleared */
    QX_EMU_NO_DEVICE = -3,     /**< the camera is unplugged (or the path is unknown) */
    QX_EMU_INVALID = -4,       /**< bad argument or configuration */
    QX_EMU_TRANSFER_ERROR = -5 /**< the transfer failed for another reason */
} qx_emu_status;

/** USB speed codes, as the camera's USB controller reports them. */
#define QX_EMU_SPEED_FULL 1  /**< USB 1.x */
#define QX_EMU_SPEED_HIGH 2  /**< USB 2.0 */
#define QX_EMU_SPEED_SUPER 4 /**< USB 3.x */

/** @name Endpoint addresses of a virtual camera
 *  @{ */
#define QX_EMU_ENDPOINT_COMMAND_OUT 0x02 /**< commands to the camera */
#define QX_EMU_ENDPOINT_COMMAND_IN 0x82  /**< the camera's replies */
#define QX_EMU_ENDPOINT_IMAGE_IN 0x83    /**< image packets */
/** @} */

/** Size of one image packet. */
#define QX_EMU_PACKET_SIZE 16384
/** Largest command reply. */
#define QX_EMU_REPLY_SIZE 1024

/** Text of the calling thread's last emulator failure ("" if none). */
QX_EMU_API const char* qx_emu_get_last_error(void);

/** @name Configuration and listing
 *  @{ */

/**
 * Replaces every virtual camera (all are unplugged first, with departure
 * notices). @p config is a number ("3"), inline JSON text (starting with
 * '{' or '['), the path of a JSON file, or null/"" for no camera at all.
 * A bad configuration leaves the current set unchanged and names the
 * offending key in the error text.
 */
QX_EMU_API int qx_emu_reset(const char* config);

/**
 * Number of plugged-in cameras of a family ("qv", "ralto"), or of all
 * families when @p family is null.
 */
QX_EMU_API int qx_emu_get_camera_count(const char* family);

/**
 * Device path of the @p index-th plugged-in camera of @p family (null: all),
 * in plug order. Paths have the form "EMU:BUS_000:PORT_<n>:VID_<vvvv>&PID_<pppp>"
 * (upper case).
 */
QX_EMU_API int qx_emu_get_camera_path(const char* family, int index, char* path, int path_size);
/** @} */

/** @name Hot-plug
 *  @{ */

/**
 * Hot-plug listener: @p event_code is 1 for an arrival and 2 for a departure.
 * Called on the thread that plugged or unplugged the camera, with no emulator
 * lock held.
 */
typedef void (*qx_emu_hotplug_listener_t)(int event_code, const char* device_path, unsigned int vendor_id,
                                          unsigned int product_id, void* context);

/** Adds a listener; returns its id (> 0) or a negative status. */
QX_EMU_API int qx_emu_add_hotplug_listener(qx_emu_hotplug_listener_t listener, void* context);
/** Removes a listener; after return it is not called any more. */
QX_EMU_API int qx_emu_remove_hotplug_listener(int listener_id);

/**
 * Plugs in a new camera described by one JSON camera object (null: defaults)
 * and writes its path. Listeners get an arrival.
 */
QX_EMU_API int qx_emu_plug_camera(const char* camera_json, char* path, int path_size);
/** Unplugs a camera; open devices fail with #QX_EMU_NO_DEVICE from then on. */
QX_EMU_API int qx_emu_unplug_camera(const char* device_path);
/**
 * Unplugs a camera and plugs the same camera (same id, serial and memory)
 * into port @p new_port; writes its new path.
 */
QX_EMU_API int qx_emu_move_camera(const char* device_path, int new_port, char* new_path, int path_size);
/** @} */

/** @name Control
 *  @{ */

/** Pulses the hardware trigger input (modes "std" and "bulb"). */
QX_EMU_API int qx_emu_pulse_hardware_trigger(const char* device_path);

/**
 * Replaces the camera's fault schedule with a JSON object of the same form
 * as the "faults" key of the configuration (see docs/emulator.md); "{}"
 * clears all faults.
 */
QX_EMU_API int qx_emu_set_faults(const char* device_path, const char* faults_json);

/** Counters of one camera since it was plugged in. */
typedef struct qx_emu_counters {
    uint64_t frames_started;    /**< frames whose first packet was produced */
    uint64_t frames_completed;  /**< frames whose last packet was delivered */
    uint64_t frames_dropped;    /**< frames the camera skipped because the host did not read in time */
    uint64_t packets_sent;      /**< image packets delivered to the host */
    uint64_t commands_received; /**< command-channel writes */
    uint64_t faults_injected;   /**< all injected faults */
    uint64_t faults_by_kind[9]; /**< per kind, indexed by #qx_emu_fault_kind */
} qx_emu_counters;

/** Fault kinds, as counted in qx_emu_counters::faults_by_kind. */
typedef enum qx_emu_fault_kind {
    QX_EMU_FAULT_DROP_PACKET = 0,
    QX_EMU_FAULT_SEQUENCE_GAP = 1, /**< a sequence number skipped or repeated */
    QX_EMU_FAULT_CORRUPT_HEADER = 2,
    QX_EMU_FAULT_STALL_IMAGE = 3,
    QX_EMU_FAULT_STALL_COMMAND = 4,
    QX_EMU_FAULT_REPLY_TIMEOUT = 5,
    QX_EMU_FAULT_FIRMWARE_ERROR = 6,
    QX_EMU_FAULT_UNPLUG = 7,
    QX_EMU_FAULT_DELAY_PACKET = 8 /**< a packet held back longer than the host waits */
} qx_emu_fault_kind;

/** Reads the counters of a camera. */
QX_EMU_API int qx_emu_get_counters(const char* device_path, qx_emu_counters* counters);
/** @} */

/** @name Device I/O
 *  What a USB transport does with a camera. A device stays usable until it is
 *  closed; after an unplug every call answers #QX_EMU_NO_DEVICE.
 *  @{ */

/** An open connection to one virtual camera. */
typedef struct qx_emu_device qx_emu_device;

/** Opens the camera at @p device_path; null (with the last error set) if absent. */
QX_EMU_API qx_emu_device* qx_emu_device_open(const char* device_path);
/** Closes a device; null is accepted. */
QX_EMU_API void qx_emu_device_close(qx_emu_device* device);
/** Vendor and product id of the device. */
QX_EMU_API int qx_emu_device_get_ids(qx_emu_device* device, unsigned int* vendor_id,
                                     unsigned int* product_id);
/** USB speed code (#QX_EMU_SPEED_SUPER ...), or a negative status. */
QX_EMU_API int qx_emu_device_get_speed(qx_emu_device* device);

/**
 * Writes one command (bytes including the terminating NUL) on the command
 * OUT endpoint. Blocks at most @p timeout_ms.
 */
QX_EMU_API int qx_emu_device_write(qx_emu_device* device, const void* data, size_t size,
                                   unsigned int timeout_ms);
/**
 * Reads the reply to the last command from the command IN endpoint into
 * @p buffer (up to @p capacity bytes, at most #QX_EMU_REPLY_SIZE) and writes
 * the number of bytes in @p transferred. Blocks at most @p timeout_ms.
 */
QX_EMU_API int qx_emu_device_read(qx_emu_device* device, void* buffer, size_t capacity, size_t* transferred,
                                  unsigned int timeout_ms);
/**
 * Reads the next image packet (#QX_EMU_PACKET_SIZE bytes) from the image IN
 * endpoint. Blocks at most @p timeout_ms; answers #QX_EMU_TIMEOUT when no
 * packet is due by then.
 */
QX_EMU_API int qx_emu_device_read_packet(qx_emu_device* device, void* packet, unsigned int timeout_ms);
/**
 * Ends a qx_emu_device_read_packet in progress on another thread, or else
 * the next one, at once with #QX_EMU_TIMEOUT: how a transport stops waiting
 * for packets when the reader is shutting down.
 */
QX_EMU_API int qx_emu_device_cancel_packet_read(qx_emu_device* device);
/** Whether an endpoint is stalled (writes 0 or 1 into @p stalled). */
QX_EMU_API int qx_emu_device_get_endpoint_stalled(qx_emu_device* device, unsigned char endpoint_address,
                                                  int* stalled);
/** Clears an endpoint's stall (a pipe reset). */
QX_EMU_API int qx_emu_device_clear_stall(qx_emu_device* device, unsigned char endpoint_address);
/** Resets the port: clears every stall and any reply in flight; the camera keeps its settings. */
QX_EMU_API int qx_emu_device_reset_port(qx_emu_device* device);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
