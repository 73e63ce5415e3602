/**
 * @file quendral_vko_logging.h
 * @brief Logging for device modules and other components loaded beside the
 *        Quendral VKO camera SDK.
 *
 * Two interfaces meet here:
 *
 *  - The kit's logger front (`t_get_logger`, `t_free_logger`, `t_log_error`,
 *    `t_log_information`, `t_log_trace`), exported by the kit library. A
 *    component asks for a logger by module name and group name, writes
 *    printf-style messages at three levels and frees the logger.
 *  - The logging library "quendral_vko_logger" (`vko_get_log`, `vko_log`,
 *    `vko_free_log`), which the front loads when it is present and which
 *    writes the messages out according to its configuration file
 *    "quendral_vko_logger.cfg" (see docs/logging.md).
 *
 * Logging is never a reason to fail: without the logging library, or without
 * its configuration file, every front call still succeeds and writes nothing.
 */
#ifndef QUENDRAL_VKO_LOGGING_H
#define QUENDRAL_VKO_LOGGING_H

#include "quendral_vko_camera_sdk.h"

/** @cond internal */
#if defined(_WIN32)
#if defined(QX_BUILDING_LOGGER)
#define QX_LOGGER_API __declspec(dllexport)
#else
#define QX_LOGGER_API __declspec(dllimport)
#endif
#else
#define QX_LOGGER_API __attribute__((visibility("default")))
#endif

#if defined(__GNUC__)
#define QX_PRINTF_FORMAT(format_index, first_argument_index) \
    __attribute__((format(printf, format_index, first_argument_index)))
#else
#define QX_PRINTF_FORMAT(format_index, first_argument_index)
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** @name Levels
 *  The level numbers passed to `vko_log`; a smaller number is more severe.
 *  @{ */
#define QX_LOG_LEVEL_ERROR 2       /**< written by `t_log_error` */
#define QX_LOG_LEVEL_INFORMATION 5 /**< written by `t_log_information` */
#define QX_LOG_LEVEL_TRACE 7       /**< written by `t_log_trace` */
/** @} */

/** The configuration file name the front passes to `vko_get_log`. */
#define QX_LOGGER_CONFIGURATION_FILE_NAME "quendral_vko_logger.cfg"

/** @name Logging library
 *  Exported by the library "quendral_vko_logger" and looked up by name.
 *  @{ */

/**
 * Returns the log object for a module and group, creating it on first use.
 * Each successful call takes one reference, released by `vko_free_log`.
 * @param module_name             name of the component that logs
 * @param group_name              a subject within the component
 * @param configuration_file_name name of the configuration file, searched in
 *                                the working directory, then beside the
 *                                logging library; null means
 *                                #QX_LOGGER_CONFIGURATION_FILE_NAME
 * @return the log object, or null when there is no usable configuration
 *         (logging is then off for this module and group)
 */
typedef void* (*vko_get_log_t)(const char* module_name, const char* group_name,
                               const char* configuration_file_name);

/**
 * Writes one message as one line, if @p level is at or below the configured
 * level.
 * @param log      a log object from `vko_get_log`
 * @param level    #QX_LOG_LEVEL_ERROR, #QX_LOG_LEVEL_INFORMATION,
 *                 #QX_LOG_LEVEL_TRACE or another level number
 * @param file     source file of the call site (may be null)
 * @param line     source line of the call site
 * @param function function of the call site (may be null)
 * @param message  the complete message text
 * @return 0 on success (also when the level filters the message out),
 *         1 for a null log object or message, 2 when the line could not be
 *         written
 */
typedef int (*vko_log_t)(void* log, int level, const char* file, int line, const char* function,
                         const char* message);

/**
 * Releases one reference to the log object of a module and group; the last
 * release ends it and, when no other log object shares it, closes its output.
 * @return 0 when a reference was released, 1 when there was none
 */
typedef int (*vko_free_log_t)(const char* module_name, const char* group_name);

/** See #vko_get_log_t. */
QX_LOGGER_API void* vko_get_log(const char* module_name, const char* group_name,
                                const char* configuration_file_name);
/** See #vko_log_t. */
QX_LOGGER_API int vko_log(void* log, int level, const char* file, int line, const char* function,
                          const char* message);
/** See #vko_free_log_t. */
QX_LOGGER_API int vko_free_log(const char* module_name, const char* group_name);
/** @} */

/** @name Logger front
 *  Exported by the kit library.
 *
 *  Loggers are kept per pair of name pointers, compared as addresses, not as
 *  texts: pass the same constant strings each time. Two calls with equal
 *  texts at different addresses get two loggers.
 *
 *  `t_get_logger` and `t_free_logger` are meant for module start-up and
 *  shut-down; writing through a logger may happen on any thread.
 *  @{ */

/**
 * Returns the logger for this pair of name pointers, creating it on first
 * use. Never null; valid until `t_free_logger` is called with the same pair.
 * When the logging library or its configuration is missing, the logger is
 * silent.
 */
QX_CAMERA_API void* t_get_logger(const char* module_name, const char* group_name);

/**
 * Destroys the logger stored for this pair of name pointers.
 * @return the number of loggers removed: 1, or 0 when there was none
 */
QX_CAMERA_API int t_free_logger(const char* module_name, const char* group_name);

/**
 * Formats a message printf-style and writes it at level #QX_LOG_LEVEL_ERROR.
 * A null @p logger does nothing.
 * @param logger   from `t_get_logger`
 * @param file     call site's source file, usually __FILE__
 * @param line     call site's line, usually __LINE__
 * @param function call site's function, usually __func__
 * @param format   printf format of the message
 */
QX_CAMERA_API void t_log_error(void* logger, const char* file, int line, const char* function,
                               const char* format, ...) QX_PRINTF_FORMAT(5, 6);

/** As `t_log_error`, at level #QX_LOG_LEVEL_INFORMATION. */
QX_CAMERA_API void t_log_information(void* logger, const char* file, int line, const char* function,
                                     const char* format, ...) QX_PRINTF_FORMAT(5, 6);

/** As `t_log_error`, at level #QX_LOG_LEVEL_TRACE. */
QX_CAMERA_API void t_log_trace(void* logger, const char* file, int line, const char* function,
                               const char* format, ...) QX_PRINTF_FORMAT(5, 6);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
