/**
 * @file quendral_vko_camera_sdk.h
 * @brief The Quendral VKO camera SDK: find, open, configure and stream
 *        scientific USB 3 cameras through a flat C interface.
 *
 * Every function returns an `int` status: #QX_STATUS_SUCCESS (0) or a
 * non-zero code. After a failure, `qx_camera_get_last_error()` returns a
 * readable text for the calling thread: the failure's message, a blank and
 * the text of its code, for example
 * "Pointer is unexpectedly nullptr: Camera handle is null. Error: Invalid operation.".
 * A success does not clear that text.
 *
 * Typical use:
 * @code
 *   qx_camera_open_sdk();
 *   char serials[1024];
 *   qx_camera_discover_available_cameras(serials, sizeof serials);
 *   void* camera = NULL;
 *   qx_camera_open_camera(first_serial, &camera);
 *   qx_camera_set_exposure_time(camera, 10000);
 *   ...
 *   qx_camera_close_camera(camera);
 *   qx_camera_close_sdk();
 * @endcode
 *
 * Any thread may call any function. Calls on one camera handle are
 * serialised; a handle must not be used after `qx_camera_close_camera`.
 */
#ifndef QUENDRAL_VKO_CAMERA_SDK_H
#define QUENDRAL_VKO_CAMERA_SDK_H

#if defined(_WIN32)
#if defined(QX_BUILDING_SDK)
#define QX_CAMERA_API __declspec(dllexport)
#else
#define QX_CAMERA_API __declspec(dllimport)
#endif
#else
#define QX_CAMERA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Status codes
 *  Codes below 1000 come from the device-module layer; 1000 and above are
 *  the kit's own. Every failing camera function returns
 *  #QX_STATUS_INVALID_OPERATION; discovery alone also returns
 *  #QX_STATUS_INSUFFICIENT_BUFFER, #QX_STATUS_INVALID_PARAMETER or
 *  #QX_MODULE_STATUS_INITIALIZATION_FAILURE.
 *  @{ */
#define QX_STATUS_SUCCESS 0                         /**< "No error" */
#define QX_STATUS_NO_ERROR 1000                     /**< "No error" */
#define QX_STATUS_INSUFFICIENT_BUFFER 1001          /**< "Error: Insufficient buffer size." */
#define QX_STATUS_UNSUPPORTED 1002                  /**< "Error: Unsupported parameter or camera feature." */
#define QX_STATUS_INVALID_PARAMETER 1003            /**< "Error: Invalid parameter. Check documentation ..." */
#define QX_STATUS_INVALID_OPERATION 1004            /**< "Error: Invalid operation." */
#define QX_STATUS_FIRMWARE_ERROR 1005               /**< "Error: Firmware-reported error." */
#define QX_STATUS_UNKNOWN 1006                      /**< "Error: Unknown." */
#define QX_MODULE_STATUS_TOO_MANY_FUNCTIONS 2       /**< "Error: Too many internal functions requested" */
#define QX_MODULE_STATUS_OBJECT_NOT_FOUND 5         /**< "Error: Object not found" */
#define QX_MODULE_STATUS_GET_DATA_FAILED 6          /**< "Error: Get data failed" */
#define QX_MODULE_STATUS_SET_DATA_FAILED 7          /**< "Error: Set data failed" */
#define QX_MODULE_STATUS_INITIALIZATION_FAILURE 8   /**< "Error: Initialization failure" */
#define QX_MODULE_STATUS_USB_MEMORY_LIMIT 17        /**< USB transfer memory limit (usbfs_memory_mb) */
/** @} */

/** @name Callback types
 *  @{ */

/**
 * Called on the camera's frame-loop thread for every frame while the camera
 * is armed and a callback is registered. No SDK lock is held during the call,
 * so the callback may call other functions of the same handle, except
 * `qx_camera_arm` and `qx_camera_disarm`.
 *
 * @param camera_handle the handle the frame belongs to
 * @param image_data    16-bit pixels, row after row; valid until the callback returns
 * @param frame_count   the camera's frame counter (from the frame metadata)
 * @param metadata      the frame's metadata record, or NULL when the frame has none
 * @param metadata_size size of the metadata record in bytes
 * @param context       the context given when the callback was registered
 */
typedef void (*frame_available_callback)(void* camera_handle, unsigned short* image_data, int frame_count,
                                         unsigned char* metadata, int metadata_size, void* context);

/**
 * Called on a hot-plug listener thread when a camera is connected.
 * @param serial_number  the camera's serial number
 * @param usb_port_type  0 USB 1.0, 1 USB 2.0, 2 USB 3.0, 3 other
 * @param context        the context given at registration
 */
typedef void (*camera_connect_callback)(const char* serial_number, int usb_port_type, void* context);

/**
 * Called on a hot-plug listener thread when a camera is disconnected.
 * @param serial_number the camera's serial number
 * @param context       the context given at registration
 */
typedef void (*camera_disconnect_callback)(const char* serial_number, void* context);
/** @} */

/** @name Kit and camera lifecycle
 *  @{ */

/**
 * Opens the kit: loads the hot-plug monitor and the device modules.
 * Calling it again rebuilds the kit (open cameras stay open).
 */
QX_CAMERA_API int qx_camera_open_sdk(void);

/** Closes the kit. Fails while any camera is open. */
QX_CAMERA_API int qx_camera_close_sdk(void);

/**
 * Lists the serial numbers of all reachable cameras, separated by single
 * blanks. Returns 1003 for a null buffer, 1001 for a size below 1, 8 when
 * discovery fails (the last error then holds the failure text alone, without
 * a code text). A text of exactly @p size characters fills the buffer
 * without a terminator; a longer one fails with "Insufficient string size.".
 */
QX_CAMERA_API int qx_camera_discover_available_cameras(char* serial_numbers, int size);

/**
 * Opens a camera found by discovery in this process.
 * @param serial_number the camera's serial number
 * @param handle        receives the camera handle
 */
QX_CAMERA_API int qx_camera_open_camera(char* serial_number, void** handle);

/** Disarms and closes a camera; the handle is invalid afterwards. */
QX_CAMERA_API int qx_camera_close_camera(void* handle);

/**
 * The calling thread's last failure text: never null, empty on a thread that
 * never failed, valid for the thread's life.
 */
QX_CAMERA_API const char* qx_camera_get_last_error(void);
/** @} */

/** @name Raw commands
 *  @{ */

/**
 * Sends any command text to the camera's device module and copies its reply.
 * A reply holding a firmware error phrase fails with that phrase; a command
 * the camera does not know fails with "Command is not supported.".
 * @param handle        camera handle
 * @param command       command text
 * @param command_size  bytes of the command including its NUL
 * @param response      reply buffer
 * @param response_size bytes of the reply buffer (at most 1,024 are used)
 */
QX_CAMERA_API int _internal_command(void* handle, char* command, int command_size, char* response,
                                    int response_size);

/**
 * Stores an image width and height on the handle for the acquisition side;
 * nothing is sent to the camera. Both must be 1 or more.
 */
QX_CAMERA_API int _set_image_size_overrides(void* handle, int width, int height);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
