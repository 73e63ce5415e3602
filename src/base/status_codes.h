#pragma once
// Texts of the status codes. Codes below 1000 belong to the device-module
// layer, 1000 and above to the kit; both share one number space.

namespace qx::api {

inline constexpr int status_success = 0;
inline constexpr int status_insufficient_buffer = 1001;
inline constexpr int status_invalid_parameter = 1003;
inline constexpr int status_invalid_operation = 1004;
inline constexpr int module_status_too_many_functions = 2;
inline constexpr int module_status_object_not_found = 5;
inline constexpr int module_status_get_data_failed = 6;
inline constexpr int module_status_set_data_failed = 7;
inline constexpr int module_status_initialization_failure = 8;

// The text of a status code; never null. Unknown codes read "Error: Unknown.".
const char* status_text(int code);

}  // namespace qx::api
