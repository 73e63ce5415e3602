#include "base/checks.h"

#include <cctype>
#include <stdexcept>

namespace qx::kit {

namespace {

enum class check_kind {
    pointer_is_null,
    pointer_is_set,
    condition_is_false,
    condition_is_true,
    trimmed_string_is_not_empty,
    trimmed_string_is_empty,
    string_is_null,
};

// Indexed by check_kind.
constexpr const char* check_prefixes[] = {
    "Pointer is unexpectedly nullptr: ",
    "Expected pointer to be nullptr: ",
    "Condition is unexpectedly false: ",
    "Condition is unexpectedly true: ",
    "Trimmed string is not empty: ",
    "Trimmed string is empty: ",
    "String is nullptr: ",
};

[[noreturn]] void fail(check_kind kind, std::string_view detail) {
    std::string text(check_prefixes[static_cast<int>(kind)]);
    text.append(detail);
    throw std::runtime_error(text);
}

bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

void fail_pointer_is_null(std::string_view detail) {
    fail(check_kind::pointer_is_null, detail);
}
void fail_pointer_is_set(std::string_view detail) {
    fail(check_kind::pointer_is_set, detail);
}
void fail_condition_is_false(std::string_view detail) {
    fail(check_kind::condition_is_false, detail);
}
void fail_condition_is_true(std::string_view detail) {
    fail(check_kind::condition_is_true, detail);
}
void fail_trimmed_string_is_not_empty(std::string_view detail) {
    fail(check_kind::trimmed_string_is_not_empty, detail);
}
void fail_trimmed_string_is_empty(std::string_view detail) {
    fail(check_kind::trimmed_string_is_empty, detail);
}
void fail_string_is_null(std::string_view detail) {
    fail(check_kind::string_is_null, detail);
}

void trim_in_place(std::string& text) {
    std::size_t end = text.size();
    while (end > 0 && is_space(text[end - 1])) --end;
    std::size_t start = 0;
    while (start < end && is_space(text[start])) ++start;
    text = text.substr(start, end - start);
}

std::string trimmed(std::string_view text) {
    std::string copy(text);
    trim_in_place(copy);
    return copy;
}

void check_trimmed_empty(std::string& text, std::string_view detail) {
    trim_in_place(text);
    if (!text.empty())
        fail_trimmed_string_is_not_empty(detail);
}

void check_trimmed_not_empty(std::string& text, std::string_view detail) {
    trim_in_place(text);
    if (text.empty())
        fail_trimmed_string_is_empty(detail);
}

void fail_argument(const char* parameter_name) {
    throw std::invalid_argument(parameter_name);
}

}  // namespace qx::kit
