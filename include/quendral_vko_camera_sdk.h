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
 *   qx_camera_discover_available_cameras(serials, sizeof serials - 1);
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
 *
 * The functions are grouped as @ref kit, @ref discovery, @ref parameters,
 * @ref acquisition, @ref frames, @ref hotplug and @ref errors.
 */
#ifndef QUENDRAL_VKO_CAMERA_SDK_H
#define QUENDRAL_VKO_CAMERA_SDK_H

/** @cond internal */
#if defined(_WIN32)
#if defined(QX_BUILDING_SDK)
#define QX_CAMERA_API __declspec(dllexport)
#else
#define QX_CAMERA_API __declspec(dllimport)
#endif
#else
#define QX_CAMERA_API __attribute__((visibility("default")))
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup errors Errors
 * @brief Status codes and the per-thread text of the last failure.
 *
 * Every function returns an `int` status: 0 for success, otherwise a code
 * below. Codes below 1000 come from the device-module layer; 1000 and above
 * are the kit's own. Every failing camera function returns
 * #QX_STATUS_INVALID_OPERATION (1004); discovery alone also returns
 * #QX_STATUS_INSUFFICIENT_BUFFER, #QX_STATUS_INVALID_PARAMETER or
 * #QX_MODULE_STATUS_INITIALIZATION_FAILURE.
 *
 * After a failure, qx_camera_get_last_error() on the same thread returns the
 * failure's message, a blank and the text of its code, for example
 * "exposure Error: Invalid operation.". The messages that every function
 * taking a camera handle can give:
 *
 * | cause | message |
 * |---|---|
 * | null handle | "Pointer is unexpectedly nullptr: Camera handle is null." |
 * | handle closed meanwhile by another thread | "Camera handle is invalid." |
 * | null output | the output's name, for example "exposure" (given with each function) |
 * | both outputs of a range getter null | "Pointer(s) for receiving the value(s) must be provided." |
 * | the camera refuses a command | "Error: qx_camera_handle=..., command='...', ...: " and the firmware's
 * phrase, for example "Parameter out of range" (see quendral_vko_firmware_phrases.h) | | the camera does not
 * answer | "Response required, but not received, possibly due to USB stall. Please try again." | | a reply
 * that does not parse | the conversion's text, for example "invalid stoi argument" or "stoll argument out of
 * range" | | the camera was unplugged | the transport's text, for example "Error: Device disconnected" |
 *
 * Texts are exact, including a present or missing final full stop.
 * @{ */
#define QX_STATUS_SUCCESS 0                       /**< "No error" */
#define QX_STATUS_NO_ERROR 1000                   /**< "No error" */
#define QX_STATUS_INSUFFICIENT_BUFFER 1001        /**< "Error: Insufficient buffer size." */
#define QX_STATUS_UNSUPPORTED 1002                /**< "Error: Unsupported parameter or camera feature." */
#define QX_STATUS_INVALID_PARAMETER 1003          /**< "Error: Invalid parameter. Check documentation ..." */
#define QX_STATUS_INVALID_OPERATION 1004          /**< "Error: Invalid operation." */
#define QX_STATUS_FIRMWARE_ERROR 1005             /**< "Error: Firmware-reported error." */
#define QX_STATUS_UNKNOWN 1006                    /**< "Error: Unknown." */
#define QX_MODULE_STATUS_TOO_MANY_FUNCTIONS 2     /**< "Error: Too many internal functions requested" */
#define QX_MODULE_STATUS_OBJECT_NOT_FOUND 5       /**< "Error: Object not found" */
#define QX_MODULE_STATUS_GET_DATA_FAILED 6        /**< "Error: Get data failed" */
#define QX_MODULE_STATUS_SET_DATA_FAILED 7        /**< "Error: Set data failed" */
#define QX_MODULE_STATUS_INITIALIZATION_FAILURE 8 /**< "Error: Initialization failure" */
#define QX_MODULE_STATUS_USB_MEMORY_LIMIT 17      /**< USB transfer memory limit (usbfs_memory_mb) */
/** @} */

/**
 * @ingroup acquisition
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
 * @ingroup hotplug
 * Called on a hot-plug listener thread when a camera is connected. No SDK
 * lock is held; the callback may discover and open cameras.
 * @param serial_number  the camera's serial number
 * @param usb_port_type  0 USB 1.0, 1 USB 2.0, 2 USB 3.0, 3 other
 * @param context        the context given at registration
 */
typedef void (*camera_connect_callback)(const char* serial_number, int usb_port_type, void* context);

/**
 * @ingroup hotplug
 * Called on a hot-plug listener thread when a camera is disconnected. No
 * SDK lock is held; the callback may close the camera's handle.
 * @param serial_number the camera's serial number
 * @param context       the context given at registration
 */
typedef void (*camera_disconnect_callback)(const char* serial_number, void* context);

/**
 * @defgroup kit Kit
 * @brief Opening and closing the SDK, and the libraries it loads.
 *
 * The SDK loads its companion libraries by file name: the USB hot-plug
 * monitor (required), the second camera family's device module (required)
 * and the logging library (optional). It looks in every directory of the
 * environment variable `QX_CAMERA_MODULE_PATH` (separated by `:`, or `;` on
 * Windows), then in its own directory, then on the system's library search
 * path.
 * @{ */

/**
 * Opens the kit: loads the hot-plug monitor and the device modules.
 * Calling it again rebuilds the kit (open cameras stay open).
 *
 * @par Threading
 * Any thread; serialised with discovery, opening and closing of cameras.
 * Not from a callback.
 * @par Errors
 * Status 1004 with "Hotplug monitor dll not found." when the monitor
 * library cannot be loaded, "Cannot open hot plug." when it does not open,
 * or the module manager's text when a device module is missing or refuses
 * admission.
 */
QX_CAMERA_API int qx_camera_open_sdk(void);

/**
 * Closes the kit: stops the hot-plug listeners, uninitialises the device
 * modules and unloads the monitor library.
 *
 * @par Threading
 * Any thread, not from a callback.
 * @par Errors
 * Status 1004 with "Condition is unexpectedly false: Cameras must be closed
 * before closing the SDK." while any camera is open.
 */
QX_CAMERA_API int qx_camera_close_sdk(void);
/** @} */

/**
 * @defgroup discovery Discovery
 * @brief Finding cameras, opening and closing them.
 *
 * Discovery lists the serial numbers of the cameras of every loaded device
 * module, the built-in family first. A camera is opened by a serial number
 * that discovery has returned in this process. With `QX_EMULATED_CAMERAS`
 * set, virtual cameras are found as well (see quendral_vko_camera_emulator.h).
 * @{ */

/**
 * Lists the serial numbers of all reachable cameras, separated by single
 * blanks. A text of exactly @p size characters fills the buffer without a
 * terminator, so pass one byte less than the buffer holds.
 *
 * @param serial_numbers receives the serial numbers
 * @param size           characters that may be written
 * @par Threading
 * Any thread, also from a hot-plug callback; serialised with opening and
 * closing. It takes the USB bus's time, so not from a frame callback.
 * @par Errors
 * 1003 (#QX_STATUS_INVALID_PARAMETER) for a null buffer ("Serial numbers
 * string must not be null."), 1001 (#QX_STATUS_INSUFFICIENT_BUFFER) for a
 * @p size below 1 ("Serial numbers string is too short."), 8
 * (#QX_MODULE_STATUS_INITIALIZATION_FAILURE) when discovery fails: then the
 * last error holds the failure text alone, without a code text, such as
 * "Pointer is unexpectedly nullptr: The SDK is not open." before
 * qx_camera_open_sdk(), "Error getting camera unique IDs." or, for a text
 * longer than @p size, "Insufficient string size.".
 */
QX_CAMERA_API int qx_camera_discover_available_cameras(char* serial_numbers, int size);

/**
 * Opens a camera found by discovery in this process: reads its features and
 * static properties and loads its gain table. The poll time-out starts at
 * 100 ms.
 * @param serial_number the camera's serial number
 * @param handle        receives the camera handle
 * @par Threading
 * Any thread, also from a hot-plug callback.
 * @par Errors
 * Status 1004 with "camera_serial_number" for a null serial number,
 * "handle" for a null @p handle, "Condition is unexpectedly true: Serial
 * number not found" for a serial number that discovery has not returned,
 * "Condition is unexpectedly true: Camera is already open." for a camera
 * with an open handle, "Condition is unexpectedly false: Unknown error when
 * attempting to open the camera." when no device module can open it, or the
 * text of the first command that fails while the camera is read.
 */
QX_CAMERA_API int qx_camera_open_camera(char* serial_number, void** handle);

/**
 * Disarms and closes a camera: ends its frame loop, unblocks a waiting poll
 * and releases the device. The handle is invalid afterwards.
 * @param handle the camera handle
 * @par Threading
 * Any thread, not from the handle's own frame callback. Waits for a frame
 * callback that is running to return.
 * @par Errors
 * Status 1004 with "Trimmed string is not empty: Camera handle is
 * invalid." for a null handle, a handle that is not open or one that
 * another thread is closing.
 */
QX_CAMERA_API int qx_camera_close_camera(void* handle);

/**
 * @ingroup errors
 * The calling thread's last failure text: never null, empty on a thread that
 * never failed, valid for the thread's life. A success does not clear it.
 *
 * @par Threading
 * Any thread; each thread reads its own text. No lock is taken.
 * @par Errors
 * None: the function cannot fail.
 */
QX_CAMERA_API const char* qx_camera_get_last_error(void);
/** @} */

/**
 * @defgroup parameters Parameters
 * @brief Every camera setting: its unit, its range, its support query.
 *
 * Units: exposure and frame time in microseconds, readout time in
 * nanoseconds, pixel size in micrometres, frame rate in frames per second,
 * gain as an index into the camera's gain table (decibels through
 * qx_camera_convert_gain_to_decibels()), sizes in pixels, regions of
 * interest in sensor pixels with both corners inclusive.
 *
 * Each call sends one command to the camera and waits for its reply (5 s at
 * most per attempt, two attempts), so none belongs in a frame callback that
 * must keep pace with the camera.
 * @{ */

/** @name Camera parameters
 *
 *  Every getter writes its output only when it succeeds (the text getters
 *  and the user-memory read excepted: see there); a null output fails with
 *  the parameter's name (for example "exposure"). A range getter needs
 *  both outputs: with both null it fails with
 *  "Pointer(s) for receiving the value(s) must be provided.", with one null
 *  it fails with that output's name. A feature missing from the camera's
 *  feature list (read when the camera is opened) fails before anything is
 *  sent, with a text naming the feature. A reply that the SDK
 *  does not recognise fails with a text naming what was expected; no getter
 *  succeeds without writing its output, except
 *  qx_camera_convert_decibels_to_gain (see there). Numbers that do not parse
 *  fail with the conversion's text, for example "invalid stoi argument" or
 *  "stoll argument out of range".
 *  @{ */

/**
 * Exposure time in microseconds ("exp").
 * @handle_call "exposure" for a null output.
 */
QX_CAMERA_API int qx_camera_get_exposure_time(void* handle, long long* exposure);
/**
 * Sets the exposure time in microseconds; a negative value fails with "exposure".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_exposure_time(void* handle, long long exposure);
/**
 * Smallest and largest exposure time in microseconds.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_exposure_time_range(void* handle, long long* exposure_min_us,
                                                    long long* exposure_max_us);

/**
 * Black level; fails "Black level is not supported." on a camera without one.
 * @handle_call "black_level" for a null output.
 */
QX_CAMERA_API int qx_camera_get_black_level(void* handle, int* black_level);
/**
 * Sets the black level; fails "Black level is not supported." on a camera without one.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_black_level(void* handle, int black_level);
/**
 * Smallest and largest black level.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_black_level_range(void* handle, int* black_level_min, int* black_level_max);

/**
 * Gain index; fails "Gain is not supported." on a camera without gain.
 * @handle_call "gain" for a null output.
 */
QX_CAMERA_API int qx_camera_get_gain(void* handle, int* gain);
/**
 * Sets the gain index; a negative index fails with "gain".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_gain(void* handle, int gain);
/**
 * Smallest and largest gain index.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_gain_range(void* handle, int* gain_min, int* gain_max);
/**
 * Decibels of a gain index, from the camera's gain table, or index / 10 on a
 * camera whose gain is linear. On a camera with a table, an index outside it
 * fails with "Gain index is outside the gain table.".
 * @handle_call "decibels" for a null output.
 */
QX_CAMERA_API int qx_camera_convert_gain_to_decibels(void* handle, int gain, double* decibels);
/**
 * The gain index within the gain range nearest to @p decibels: on a linear
 * camera decibels x 10 rounded half away from zero and clamped into the
 * range; with a gain table the nearest entry, a tie going to the higher
 * index. A camera reporting a minimum above its maximum gets no answer (the
 * output stays unwritten, status 0). A decibel value that is not a number
 * fails with "decibels".
 * @handle_call "index_to_gain" for a null output.
 */
QX_CAMERA_API int qx_camera_convert_decibels_to_gain(void* handle, double decibels, int* index_to_gain);

/**
 * Horizontal binning factor ("hbin"); 1 is no binning.
 * @handle_call "binx" for a null output.
 */
QX_CAMERA_API int qx_camera_get_binx(void* handle, int* binx);
/**
 * Sets the horizontal binning; a factor below 1 fails with "binx".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_binx(void* handle, int binx);
/**
 * Smallest and largest horizontal binning.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_binx_range(void* handle, int* binx_min, int* binx_max);
/**
 * Vertical binning factor ("vbin"); 1 is no binning.
 * @handle_call "biny" for a null output.
 */
QX_CAMERA_API int qx_camera_get_biny(void* handle, int* biny);
/**
 * Sets the vertical binning; a factor below 1 fails with "biny".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_biny(void* handle, int biny);
/**
 * Smallest and largest vertical binning.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_biny_range(void* handle, int* biny_min, int* biny_max);

/**
 * Region of interest in sensor pixels, both corners inclusive. A camera
 * reply with fewer than four numbers fails with
 * "ROI reply holds fewer than four integers.".
 * @handle_call "upper_left_x" for a null output.
 */
QX_CAMERA_API int qx_camera_get_roi(void* handle, int* upper_left_x, int* upper_left_y, int* lower_right_x,
                                    int* lower_right_y);
/**
 * Sets the region of interest. A negative value fails with its name; the
 * camera refuses corners that are out of order, out of range or not aligned.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_roi(void* handle, int upper_left_x, int upper_left_y, int lower_right_x,
                                    int lower_right_y);
/**
 * The smallest and the largest region of interest, four corners each.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_roi_range(void* handle, int* upper_left_x_min, int* upper_left_y_min,
                                          int* lower_right_x_min, int* lower_right_y_min,
                                          int* upper_left_x_max, int* upper_left_y_max,
                                          int* lower_right_x_max, int* lower_right_y_max);

/**
 * Width of the delivered image in pixels.
 * @handle_call "width_pixels" for a null output.
 */
QX_CAMERA_API int qx_camera_get_image_width(void* handle, int* width_pixels);
/**
 * Smallest and largest image width.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_image_width_range(void* handle, int* image_width_min, int* image_width_max);
/**
 * Height of the delivered image in pixels.
 * @handle_call "height_pixels" for a null output.
 */
QX_CAMERA_API int qx_camera_get_image_height(void* handle, int* height_pixels);
/**
 * Smallest and largest image height.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_image_height_range(void* handle, int* image_height_min,
                                                   int* image_height_max);
/**
 * Sensor width in pixels: the largest region's lower-right x plus one.
 * @handle_call "width_pixels" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_width(void* handle, int* width_pixels);
/**
 * Sensor height in pixels: the largest region's lower-right y plus one.
 * @handle_call "height_pixels" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_height(void* handle, int* height_pixels);
/**
 * Width of one sensor pixel in micrometres.
 * @handle_call "pixel_width_um" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_pixel_width(void* handle, double* pixel_width_um);
/**
 * Height of one sensor pixel in micrometres.
 * @handle_call "pixel_height_um" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_pixel_height(void* handle, double* pixel_height_um);
/**
 * Bytes per delivered pixel.
 * @handle_call "sensor_pixel_size_bytes" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_pixel_size_bytes(void* handle, int* sensor_pixel_size_bytes);
/**
 * Bits per pixel.
 * @handle_call "bit_depth" for a null output.
 */
QX_CAMERA_API int qx_camera_get_bit_depth(void* handle, int* bit_depth);
/**
 * Sensor readout time in nanoseconds.
 * @handle_call "sensor_readout_time_ns" for a null output.
 */
QX_CAMERA_API int qx_camera_get_sensor_readout_time(void* handle, int* sensor_readout_time_ns);
/**
 * Frame time in microseconds.
 * @handle_call "frame_time_us" for a null output.
 */
QX_CAMERA_API int qx_camera_get_frame_time(void* handle, int* frame_time_us);
/**
 * Frequency in hertz of the clock that time-stamps frames.
 * @handle_call "timestamp_clock_frequency" for a null output.
 */
QX_CAMERA_API int qx_camera_get_timestamp_clock_frequency(void* handle, int* timestamp_clock_frequency);

/**
 * Frames per trigger; 0 means unlimited.
 * @handle_call "number_of_frames" for a null output.
 */
QX_CAMERA_API int qx_camera_get_frames_per_trigger_zero_for_unlimited(void* handle, int* number_of_frames);
/**
 * Sets the frames per trigger, sent as an unsigned number; 0 means unlimited.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_frames_per_trigger_zero_for_unlimited(void* handle, int number_of_frames);
/**
 * Smallest and largest frames per trigger.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_frames_per_trigger_range(void* handle, int* nframes_min, int* nframes_max);

/**
 * Hot-pixel correction threshold.
 * @handle_call "hot_pixel_correction_threshold" for a null output.
 */
QX_CAMERA_API int qx_camera_get_hot_pixel_correction_threshold(void* handle,
                                                               int* hot_pixel_correction_threshold);
/**
 * Sets the threshold; a negative value fails with "hot_pixel_correction_threshold".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_hot_pixel_correction_threshold(void* handle,
                                                               int hot_pixel_correction_threshold);
/**
 * Smallest and largest threshold.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_hot_pixel_correction_threshold_range(void* handle,
                                                                     int* hot_pixel_correction_threshold_min,
                                                                     int* hot_pixel_correction_threshold_max);
/**
 * 1 unless the camera reports the correction "off".
 * @handle_call "is_hot_pixel_correction_enabled" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_hot_pixel_correction_enabled(void* handle,
                                                                int* is_hot_pixel_correction_enabled);
/**
 * Switches the correction on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_is_hot_pixel_correction_enabled(void* handle,
                                                                int is_hot_pixel_correction_enabled);

/**
 * 1 when frame-rate control is on. Every frame-rate control function fails
 * "Camera does not support frame-rate control." on a camera without it.
 * @handle_call "is_enabled" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_frame_rate_control_enabled(void* handle, int* is_enabled);
/**
 * Switches frame-rate control on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_is_frame_rate_control_enabled(void* handle, int is_enabled);
/**
 * The controlled frame rate in frames per second (kept in thousandths by the camera).
 * @handle_call "frame_rate_fps" for a null output.
 */
QX_CAMERA_API int qx_camera_get_frame_rate_control_value(void* handle, double* frame_rate_fps);
/**
 * Sets the controlled frame rate. It must be above 0 and at most
 * 2147483647, else "Frame rate parameter is out of range."; the camera gets
 * the value x 1000 cut toward zero, and a product beyond 2147483647 is sent
 * as -2147483648, which the camera refuses.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_frame_rate_control_value(void* handle, double frame_rate_fps);
/**
 * Smallest and largest controlled frame rate in frames per second.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_frame_rate_control_value_range(void* handle, double* frame_rate_fps_min,
                                                               double* frame_rate_fps_max);

/**
 * Operation mode: 0 software triggered, 1 hardware triggered, 2 bulb.
 * @handle_call "operation_mode" for a null output.
 */
QX_CAMERA_API int qx_camera_get_operation_mode(void* handle, int* operation_mode);
/**
 * Sets the operation mode, keeping the trigger polarity; another value fails
 * "Unknown operation mode." before anything is sent.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_operation_mode(void* handle, int operation_mode);
/**
 * Whether the camera offers an operation mode: mode 0 always, modes 1 and 2
 * as the camera's I/O setup says (a reply it does not recognise fails with
 * "I/O setup reply not recognized."), other modes never.
 * @handle_call "is_operation_mode_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_operation_mode_supported(void* handle, int operation_mode,
                                                            int* is_operation_mode_supported);
/**
 * Trigger polarity: 0 active high, 1 active low. A camera whose trigger
 * state is not exactly a mode and a polarity word fails with "hwtrig".
 * @handle_call "trigger_polarity_enum" for a null output.
 */
QX_CAMERA_API int qx_camera_get_trigger_polarity(void* handle, int* trigger_polarity_enum);
/**
 * Sets the trigger polarity, keeping the operation mode; a value other than
 * 0 or 1 fails with "trigger_polarity" before anything is sent.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_trigger_polarity(void* handle, int trigger_polarity);

/**
 * 1 when the camera has the EEP mode.
 * @handle_call "is_eep_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_eep_supported(void* handle, int* is_eep_supported);
/**
 * EEP status: 0 disabled, 1 enabled and active, 2 enabled and inactive, 3 enabled in bulb.
 * @handle_call "eep_status_enum" for a null output.
 */
QX_CAMERA_API int qx_camera_get_eep_status(void* handle, int* eep_status_enum);
/**
 * Switches EEP on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_is_eep_enabled(void* handle, int is_eep_enabled);

/**
 * 1 when the camera has selectable taps.
 * @handle_call "is_taps_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_taps_supported(void* handle, int* is_taps_supported);
/**
 * Tap setting 0, 1 or 2.
 * @handle_call "taps" for a null output.
 */
QX_CAMERA_API int qx_camera_get_taps(void* handle, int* taps);
/**
 * Sets the taps; a value above 2 fails with "taps".
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_taps(void* handle, int taps);
/**
 * 1 when tap balancing is on.
 * @handle_call "tap_balance_enable" for a null output.
 */
QX_CAMERA_API int qx_camera_get_tap_balance_enable(void* handle, int* tap_balance_enable);
/**
 * Switches tap balancing on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_tap_balance_enable(void* handle, int tap_balance_enable);

/**
 * Data rate: 0 and 1 readout-frequency settings, 2 30 frames per second, 3 50 frames per second.
 * @handle_call "data_rate" for a null output.
 */
QX_CAMERA_API int qx_camera_get_data_rate(void* handle, int* data_rate);
/**
 * Sets the data rate; another value fails "Unexpected data rate." before anything is sent.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_data_rate(void* handle, int data_rate);
/**
 * 1 when the camera offers the data rate.
 * @handle_call "is_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_data_rate_supported(void* handle, int data_rate, int* is_supported);

/**
 * 1 when the camera has a status LED.
 * @handle_call "is_led_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_led_supported(void* handle, int* is_led_supported);
/**
 * 1 unless the camera reports the LED exactly "off".
 * @handle_call "is_led_on" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_led_on(void* handle, int* is_led_on);
/**
 * Switches the LED on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_is_led_on(void* handle, int is_led_on);

/**
 * 1 when the camera has powered cooling.
 * @handle_call "is_cooling_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_cooling_supported(void* handle, int* is_cooling_supported);
/**
 * 1 when the cooling is on; fails "Powered cooling is not supported." without it.
 * @handle_call "is_cooling_enabled" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_cooling_enabled(void* handle, int* is_cooling_enabled);

/**
 * Non-zero (1 or -1) when the camera has the near-infrared boost, 0 when not.
 * @handle_call "is_nir_boost_supported" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_nir_boost_supported(void* handle, int* is_nir_boost_supported);
/**
 * The near-infrared boost setting; fails "Camera does not support NIR boost mode." without it.
 * @handle_call "nir_boost_enable" for a null output.
 */
QX_CAMERA_API int qx_camera_get_nir_boost_enable(void* handle, int* nir_boost_enable);
/**
 * Switches the near-infrared boost on (non-zero) or off (0).
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_nir_boost_enable(void* handle, int nir_boost_enable);

/**
 * The camera's interface: always 2 (USB).
 * @handle_call "communication_interface" for a null output.
 */
QX_CAMERA_API int qx_camera_get_communication_interface(void* handle, int* communication_interface);
/**
 * The USB connection: 0 USB 1.0, 1 USB 2.0, 2 USB 3.0.
 * @handle_call "usb_port_type" for a null output.
 */
QX_CAMERA_API int qx_camera_get_usb_port_type(void* handle, int* usb_port_type);

/**
 * Sensor type: 0 monochrome, 1 colour, 2 monochrome polarized.
 * @handle_call "camera_sensor_type" for a null output.
 */
QX_CAMERA_API int qx_camera_get_camera_sensor_type(void* handle, int* camera_sensor_type);
/**
 * Colour filter array phase: 0 red first, 1 blue first, 2 green left of
 * red, 3 green left of blue.
 * @handle_call "color_filter_array_phase" for a null output.
 */
QX_CAMERA_API int qx_camera_get_color_filter_array_phase(void* handle, int* color_filter_array_phase);
/**
 * Polarizer phase: 0, 1, 2, 3 for 0, 45, 90, 135 degrees; fails
 * "Polar phase is not supported." on a camera without polarizers.
 * @handle_call "polar_phase" for a null output.
 */
QX_CAMERA_API int qx_camera_get_polar_phase(void* handle, int* polar_phase);
/**
 * The recommended colour correction matrix: @p matrix holds 9 floats (3 x 3,
 * row after row). The camera's numbers are stored in order; at most 9 are
 * stored, and a reply with fewer leaves the remaining entries untouched.
 * @handle_call "matrix" for a null output.
 */
QX_CAMERA_API int qx_camera_get_color_correction_matrix(void* handle, float* matrix);
/**
 * The default white balance matrix: 9 floats, as for the colour correction matrix.
 * @handle_call "matrix" for a null output.
 */
QX_CAMERA_API int qx_camera_get_default_white_balance_matrix(void* handle, float* matrix);
/**
 * The colour space the correction matrix produces, as text. @p text must
 * hold 64 bytes; a longer name is cut to 63 characters, and the text is
 * always terminated.
 * @handle_call "output_color_space" for a null output.
 */
QX_CAMERA_API int qx_camera_get_camera_color_correction_matrix_output_color_space(void* handle, char* text);

/**
 * The firmware version text. A text exactly @p text_size characters long
 * fills the buffer without a terminator; a longer one fails with
 * "Command response size is too small." and leaves a terminated prefix.
 * A @p text_size below 1 fails with "str_length". The same holds for the
 * model, name and serial number.
 * @handle_call "firmware_version" for a null output.
 */
QX_CAMERA_API int qx_camera_get_firmware_version(void* handle, char* text, int text_size);
/**
 * The model text.
 * @handle_call "model" for a null output.
 */
QX_CAMERA_API int qx_camera_get_model(void* handle, char* text, int text_size);
/**
 * The camera's settable name.
 * @handle_call "name" for a null output.
 */
QX_CAMERA_API int qx_camera_get_name(void* handle, char* text, int text_size);
/**
 * The serial number text.
 * @handle_call "serial_number" for a null output.
 */
QX_CAMERA_API int qx_camera_get_serial_number(void* handle, char* text, int text_size);
/**
 * Shortest and longest model text.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_model_string_length_range(void* handle, int* model_min, int* model_max);
/**
 * Shortest and longest name.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_name_string_length_range(void* handle, int* name_min, int* name_max);
/**
 * Shortest and longest serial number text.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_serial_number_string_length_range(void* handle, int* serial_number_min,
                                                                  int* serial_number_max);
/**
 * Sets the camera's name; the camera refuses names it cannot keep.
 * @handle_call "name" for a null @p name; a name the camera refuses fails
 * with its phrase.
 */
QX_CAMERA_API int qx_camera_set_name(void* handle, char* name);
/** @} */

/** @name User memory
 *  A small non-volatile memory in the camera for the application's bytes.
 *  Sizes and offsets are in bytes.
 *  @{ */

/**
 * Size of the user memory in bytes.
 * @handle_call "maximum_size_bytes" for a null output.
 */
QX_CAMERA_API int qx_camera_get_user_memory_maximum_size(void* handle, long long* maximum_size_bytes);
/**
 * Reads @p size bytes from @p offset into @p data. A failure part-way leaves
 * the bytes read so far in @p data.
 * @handle_call "destination_data_buffer" for a null output, "Number of bytes
 * to read cannot be negative.", "User-memory offset cannot be negative.",
 * "User-memory range is too large." when offset plus size overflows, "Did
 * not find a colon in the nvstor response string." for a malformed reply.
 */
QX_CAMERA_API int qx_camera_get_user_memory(void* handle, unsigned char* data, long long size,
                                            long long offset);
/**
 * Erases @p size bytes from @p offset, then writes @p data there. A failure
 * part-way leaves the erased range partly written.
 * @handle_call "source_data_buffer" for a null @p data, "Condition is
 * unexpectedly false: Parameters cannot be negative." for a negative size
 * or offset, "User-memory range is too large." when offset plus size
 * overflows, or the camera's refusal of the erase or a write.
 */
QX_CAMERA_API int qx_camera_set_user_memory(void* handle, unsigned char* data, long long size,
                                            long long offset);
/** @} */
/** @} */

/**
 * @defgroup acquisition Acquisition
 * @brief Arming, triggering, frame callbacks and polling.
 *
 *  A camera streams into a buffer that the SDK allocates when it is armed.
 *  With a frame callback registered, a frame-loop thread calls it for every
 *  frame; without one, the application polls with
 *  `qx_camera_get_pending_frame_or_null`. With n buffered frames the camera
 *  can run at most n - 1 frames ahead of the application; further frames are
 *  dropped whole, never delivered damaged.
 *  @{ */

/**
 * Arms the camera: switches the frame metadata on and makes room for
 * @p number_of_frames_to_buffer frames (2 or more). The buffer is kept and
 * reused by later arms of the same size. Starts the frame loop when a
 * callback is registered.
 * @param handle                     the camera handle
 * @param number_of_frames_to_buffer frames the buffer holds, 2 or more
 * @handle_call_outside_callback "number_of_frames_to_buffer" for fewer than
 * 2 frames, "Condition is unexpectedly true: Camera is already armed.",
 * "Frame buffer size is out of range." for a buffer beyond what the camera
 * can address, or the camera's refusal of "arm".
 */
QX_CAMERA_API int qx_camera_arm(void* handle, int number_of_frames_to_buffer);

/**
 * Stops the camera ("stop") and ends the frame loop, waiting for a frame
 * callback that is running to return; succeeds when not armed.
 * @handle_call_outside_callback The camera's refusal of "stop".
 */
QX_CAMERA_API int qx_camera_disarm(void* handle);

/**
 * Starts the configured number of frames (see frames per trigger) on an
 * armed camera in operation mode 0.
 * @handle_call The camera's refusal, such as "Camera running (parameter
 * cannot be set while in this mode)".
 */
QX_CAMERA_API int qx_camera_issue_software_trigger(void* handle);

/**
 * Writes 1 when armed, else 0.
 * @handle_call "is_armed__param" for a null output.
 */
QX_CAMERA_API int qx_camera_get_is_armed(void* handle, int* is_armed);

/**
 * Registers the frame callback (null switches to polling) and its context.
 * The callback runs on the handle's frame-loop thread, started by
 * qx_camera_arm().
 * @handle_call_outside_callback "Condition is unexpectedly true: Callback
 * cannot be set while the camera is armed.".
 */
QX_CAMERA_API int qx_camera_set_frame_available_callback(void* handle, frame_available_callback callback,
                                                         void* context);

/**
 * Reads the registered frame callback.
 * @handle_call "pointer_to_pointer_to_frame_available_callback" for a null output.
 */
QX_CAMERA_API int qx_camera_get_frame_available_callback(void* handle, frame_available_callback* callback);

/**
 * Takes the next frame, waiting at most the poll time-out. With no frame
 * pending it succeeds with null pointers and zeros. The frame stays valid
 * until the next call.
 * @param handle        the camera handle
 * @param image_data    receives the 16-bit pixels
 * @param frame_count   receives the camera's frame counter
 * @param metadata      receives the frame's metadata record
 * @param metadata_size receives its size in bytes
 * @handle_call "image_buffer_param", "frame_count", "metadata" or
 * "metadata_size_in_bytes" for a null output; "Expected pointer to be
 * nullptr: This polling function can only be used when no callback is
 * registered." while a frame callback is registered.
 */
QX_CAMERA_API int qx_camera_get_pending_frame_or_null(void* handle, unsigned short** image_data,
                                                      int* frame_count, unsigned char** metadata,
                                                      int* metadata_size);

/**
 * Reads the poll time-out in milliseconds (100 after opening).
 * @handle_call "image_poll_timeout_ms" for a null output.
 */
QX_CAMERA_API int qx_camera_get_image_poll_timeout(void* handle, int* milliseconds);

/**
 * Sets the poll time-out in milliseconds; nothing is sent to the camera.
 * @handle_call Nothing else: every value is stored.
 */
QX_CAMERA_API int qx_camera_set_image_poll_timeout(void* handle, int milliseconds);

/**
 * Frames per second handed to the callback, measured over the last full
 * second; 0 until a second has passed.
 * @handle_call "measured_frames_per_second_param" for a null output.
 */
QX_CAMERA_API int qx_camera_get_measured_frame_rate(void* handle, double* frames_per_second);
/** @} */

/**
 * @defgroup hotplug Hot-plug
 * @brief Cameras connected and disconnected while the SDK is open.
 *
 *  The kit runs one listener thread per camera family, started by the first
 *  callback registration after `qx_camera_open_sdk` and stopped with the kit.
 *  Callbacks run on those listener threads, never on the application's; they
 *  may call back into the kit (discover, open).
 *  @{ */

/**
 * Registers the function called when a camera is connected, and its context.
 * A null callback clears it (and its context) and leaves the listeners running.
 * @param callback called with the serial number and USB port type of each
 *                 camera connected from now on, or null
 * @param context  passed to @p callback unchanged
 * @par Threading
 * Any thread, also from a connect or disconnect callback. The callback runs
 * on the listener thread of the camera's family.
 * @par Errors
 * Status 1004 with the text of a listener that cannot be started.
 */
QX_CAMERA_API int qx_camera_set_camera_connect_callback(camera_connect_callback callback, void* context);

/**
 * Registers the function called when a camera is disconnected, and its context.
 * A null callback clears it and stores @p context as the connect callback's
 * context; the listeners are left running.
 * @param callback called with the serial number of each camera disconnected
 *                 from now on, or null
 * @param context  passed to @p callback unchanged
 * @par Threading
 * Any thread, also from a connect or disconnect callback. The callback runs
 * on the listener thread of the camera's family.
 * @par Errors
 * Status 1004 with the text of a listener that cannot be started.
 */
QX_CAMERA_API int qx_camera_set_camera_disconnect_callback(camera_disconnect_callback callback,
                                                           void* context);
/** @} */

/**
 * @defgroup frames Frames
 * @brief Held frames, read in place, and the stream's counters.
 * @{ */

/** @name Stream statistics
 *  Counters of one camera's stream, each counted where the thing happens.
 *  They start at zero when the camera is opened and are never reset by
 *  disarm or re-arm, so an application measures an interval by difference.
 *  @{ */

/** A snapshot of one camera's stream counters. */
typedef struct qx_stream_statistics {
    /** In: sizeof(qx_stream_statistics) as the caller knows it. Out: the bytes written. */
    unsigned int size;
    unsigned int reserved;                     /**< 0; keeps the counters 8-byte aligned */
    unsigned long long frames_delivered;       /**< frames assembled whole and handed to the kit */
    unsigned long long frames_lost_incomplete; /**< frames dropped: missing, out-of-order or damaged packets,
                                                  time-outs, stalls */
    unsigned long long frames_lost_no_free_slot; /**< whole frames dropped because no slot was free */
    unsigned long long stalls_recovered;         /**< image-channel stalls cleared by a reset */
    unsigned long long resets;                   /**< link resets issued by the image channel */
    unsigned long long bytes_received;           /**< payload bytes read from the image channel */
    unsigned long long packets_received;         /**< packets read from the image channel */
} qx_stream_statistics;

/**
 * Copies the camera's stream counters, counted since the camera was opened.
 * @p statistics->size must be set by the caller; a smaller structure of an
 * older release receives its prefix.
 * @handle_call
 */
QX_CAMERA_API int qx_camera_get_stream_statistics(void* handle, qx_stream_statistics* statistics);
/** @} */

/** @name Held frames
 *  A held frame keeps its slot out of the camera's reach until it is
 *  released, so several frames can be read in place, without a copy, at the
 *  same time. While every slot is held, new frames are dropped whole and
 *  counted in #qx_stream_statistics::frames_lost_no_free_slot; a held slot is
 *  never overwritten. Holding is for cameras without a frame callback.
 *  @{ */

/** One held frame. The pixel and metadata pointers stay valid until the frame is released. */
typedef struct qx_frame {
    /** In: sizeof(qx_frame) as the caller knows it. */
    unsigned int size;
    int frame_count;            /**< the camera's frame counter */
    unsigned short* image_data; /**< 16-bit pixels, row after row; NULL when no frame came */
    unsigned char* metadata;    /**< the frame's metadata record */
    int metadata_size;          /**< its size in bytes */
    int width;                  /**< pixels per row */
    int height;                 /**< rows */
    int bit_depth;              /**< significant bits per pixel */
    void* token;                /**< the SDK's own; passed back by qx_camera_release_frame */
} qx_frame;

/**
 * Waits at most @p timeout_ms milliseconds for the next frame and holds it.
 * With no frame by then it succeeds with @p frame->image_data NULL. The
 * camera must be armed and have no frame callback; @p frame->size must be
 * at least sizeof(qx_frame).
 * @handle_call
 */
QX_CAMERA_API int qx_camera_acquire_frame(void* handle, int timeout_ms, qx_frame* frame);

/**
 * Gives a held frame's slot back to the camera. Valid also after the camera
 * was disarmed or closed: the frame's memory lives until its release.
 * @par Threading
 * Any thread, also one other than the thread that acquired the frame.
 * @par Errors
 * Status 1004 for a null @p frame or a frame that is not held; a frame
 * released twice fails with "Frame is not held.".
 */
QX_CAMERA_API int qx_camera_release_frame(qx_frame* frame);
/** @} */
/** @} */

/** @addtogroup parameters
 *  @{ */

/** @name Parameter catalogue
 *  Every camera parameter by name, for tools and language bindings. Names
 *  are lower-case identifiers that carry their unit where they have one
 *  ("exposure_us"); values travel as text in the parameter's unit.
 *  @{ */

#define QX_PARAMETER_INTEGER 0      /**< a whole number */
#define QX_PARAMETER_REAL 1         /**< a number with a fraction */
#define QX_PARAMETER_BOOLEAN 2      /**< 0 or 1 */
#define QX_PARAMETER_TEXT 3         /**< text */
#define QX_PARAMETER_INTEGER_LIST 4 /**< whole numbers separated by commas, such as a region of interest */

#define QX_PARAMETER_READABLE 1  /**< has a getter */
#define QX_PARAMETER_WRITABLE 2  /**< has a setter */
#define QX_PARAMETER_HAS_RANGE 4 /**< has a minimum and a maximum */

/** One row of the catalogue. The texts are static and never freed. */
typedef struct qx_parameter_description {
    const char* name;        /**< "exposure_us" */
    const char* unit;        /**< "us", "dB", or "" when it has none */
    const char* description; /**< one line of help */
    int value_type;          /**< QX_PARAMETER_INTEGER ... */
    int flags;               /**< QX_PARAMETER_READABLE | ... */
} qx_parameter_description;

/**
 * Writes the number of parameters in the catalogue.
 * @par Threading
 * Any thread; the catalogue never changes.
 * @par Errors
 * Status 1004 for a null @p count.
 */
QX_CAMERA_API int qx_camera_get_parameter_count(int* count);

/**
 * Describes the parameter at @p index (0 to count - 1).
 * @par Threading
 * Any thread; the catalogue never changes.
 * @par Errors
 * Status 1004 for an index outside the catalogue or a null @p description.
 */
QX_CAMERA_API int qx_camera_get_parameter_description(int index, qx_parameter_description* description);

/**
 * Reads a parameter by name as text.
 * @handle_call
 */
QX_CAMERA_API int qx_camera_get_parameter(void* handle, const char* name, char* value, int value_size);

/**
 * Sets a parameter by name from text.
 * @handle_call A value the camera refuses fails with its phrase, such as "Parameter out of range".
 */
QX_CAMERA_API int qx_camera_set_parameter(void* handle, const char* name, const char* value);

/**
 * Reads a parameter's minimum and maximum by name as text.
 * @handle_call "Pointer(s) for receiving the value(s) must be provided." when both outputs are null; the name
 * of the null output when one is.
 */
QX_CAMERA_API int qx_camera_get_parameter_range(void* handle, const char* name, char* minimum, char* maximum,
                                                int text_size);
/** @} */

/** @name Raw commands
 *  @{ */

/**
 * Sends any command text to the camera's device module and copies its reply.
 * @param handle        camera handle
 * @param command       command text
 * @param command_size  bytes of the command including its NUL
 * @param response      reply buffer
 * @param response_size bytes of the reply buffer (at most 1,024 are used)
 * @handle_call "command" or "response" for a null pointer, "Response size is
 * too small." for a @p response_size below 1,
 * "command_size_bytes_including_any_null_terminator" for a negative
 * @p command_size, "Condition is unexpectedly false: Command is not
 * supported." for a command the camera does not know, and a reply holding a
 * firmware error phrase fails with that phrase.
 */
QX_CAMERA_API int _internal_command(void* handle, char* command, int command_size, char* response,
                                    int response_size);

/**
 * @ingroup acquisition
 * Stores an image width and height in pixels on the handle for the acquisition side;
 * nothing is sent to the camera. Both must be 1 or more.
 * @handle_call "width" or "height" for a value below 1.
 */
QX_CAMERA_API int _set_image_size_overrides(void* handle, int width, int height);
/** @} */
/** @} */

#ifdef __cplusplus
}
#endif

#endif
