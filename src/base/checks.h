#pragma once
// The checks through which kit and module code raise their failures. Each
// throws std::runtime_error with a fixed prefix followed by the caller's
// detail text, so every failure reads the same way wherever it comes from.

#include <string>
#include <string_view>

namespace qx::kit {

[[noreturn]] void fail_pointer_is_null(std::string_view detail);
[[noreturn]] void fail_pointer_is_set(std::string_view detail);
[[noreturn]] void fail_condition_is_false(std::string_view detail);
[[noreturn]] void fail_condition_is_true(std::string_view detail);
[[noreturn]] void fail_trimmed_string_is_not_empty(std::string_view detail);
[[noreturn]] void fail_trimmed_string_is_empty(std::string_view detail);
[[noreturn]] void fail_string_is_null(std::string_view detail);

inline void check_pointer_set(const void* pointer, std::string_view detail) {
    if (pointer == nullptr)
        fail_pointer_is_null(detail);
}
inline void check_pointer_null(const void* pointer, std::string_view detail) {
    if (pointer != nullptr)
        fail_pointer_is_set(detail);
}
inline void check_true(bool condition, std::string_view detail) {
    if (!condition)
        fail_condition_is_false(detail);
}
inline void check_false(bool condition, std::string_view detail) {
    if (condition)
        fail_condition_is_true(detail);
}
inline void check_string_given(const char* text, std::string_view detail) {
    if (text == nullptr)
        fail_string_is_null(detail);
}

// Trims the text in place and fails when something is left.
void check_trimmed_empty(std::string& text, std::string_view detail);
// Trims the text in place and fails when nothing is left.
void check_trimmed_not_empty(std::string& text, std::string_view detail);

// Removes leading and trailing characters for which isspace is true.
void trim_in_place(std::string& text);
std::string trimmed(std::string_view text);

// The invalid-argument failure whose whole text is the parameter's name.
[[noreturn]] void fail_argument(const char* parameter_name);
inline void check_argument(const void* pointer, const char* parameter_name) {
    if (pointer == nullptr)
        fail_argument(parameter_name);
}

}  // namespace qx::kit
