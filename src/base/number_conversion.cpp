#include "base/number_conversion.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace qx::camera {

namespace {

// The C library's parsers, each called on a NUL-terminated copy of the text
// with errno cleared.
struct parsed {
    bool found = false;      // a number starts the text
    bool too_large = false;  // the parser reported ERANGE
};

template <class Value, class Parser>
parsed parse(std::string_view text, Value& value, Parser parser) {
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    value = parser(copy.c_str(), &end);
    return {end != copy.c_str(), errno == ERANGE};
}

[[noreturn]] void fail_invalid(const char* conversion) {
    throw std::invalid_argument(std::string("invalid ") + conversion + " argument");
}

[[noreturn]] void fail_out_of_range(const char* conversion) {
    throw std::out_of_range(std::string(conversion) + " argument out of range");
}

template <class Value, class Parser>
Value checked(std::string_view text, const char* conversion, Parser parser) {
    Value value{};
    const parsed result = parse(text, value, parser);
    if (!result.found)
        fail_invalid(conversion);
    if (result.too_large)
        fail_out_of_range(conversion);
    return value;
}

long long parse_long_long(const char* text, char** end) {
    return std::strtoll(text, end, 10);
}
unsigned long long parse_unsigned(const char* text, char** end) {
    return std::strtoull(text, end, 10);
}

bool starts_with_minus(std::string_view text) {
    for (const char character : text) {
        if (std::isspace(static_cast<unsigned char>(character)) == 0)
            return character == '-';
    }
    return false;
}

}  // namespace

int to_int(std::string_view text) {
    const long long value = checked<long long>(text, "stoi", parse_long_long);
    if (value < INT_MIN || value > INT_MAX)
        fail_out_of_range("stoi");
    return static_cast<int>(value);
}

long long to_long_long(std::string_view text) {
    return checked<long long>(text, "stoll", parse_long_long);
}

std::uint32_t to_unsigned_long(std::string_view text) {
    const unsigned long long value = checked<unsigned long long>(text, "stoul", parse_unsigned);
    // strtoull has already negated a leading '-' modulo 2^64; the magnitude
    // decides the range, as it would for a 32-bit unsigned long.
    const bool negative = starts_with_minus(text);
    const unsigned long long magnitude = negative ? 0ULL - value : value;
    if (magnitude > UINT32_MAX)
        fail_out_of_range("stoul");
    const auto narrow = static_cast<std::uint32_t>(magnitude);
    return negative ? static_cast<std::uint32_t>(0U - narrow) : narrow;
}

float to_float(std::string_view text) {
    return checked<float>(text, "stof",
                          [](const char* start, char** end) { return std::strtof(start, end); });
}

double to_double(std::string_view text) {
    return checked<double>(text, "stod",
                           [](const char* start, char** end) { return std::strtod(start, end); });
}

int to_int_or_zero(std::string_view text) {
    long long value = 0;
    parse(text, value, parse_long_long);
    if (value < INT_MIN)
        return INT_MIN;
    if (value > INT_MAX)
        return INT_MAX;
    return static_cast<int>(value);
}

}  // namespace qx::camera
