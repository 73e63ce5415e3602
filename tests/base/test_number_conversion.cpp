// Reply text to numbers: what each conversion accepts, where it stops, and
// the exact text and kind of each failure.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "base/number_conversion.h"

namespace {

using namespace qx::camera;

template <class Value>
std::string as_text(Value value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

struct conversion_case {
    const char* conversion;
    const char* reply;
    const char* expected;
};

// A conversion's result as text, or its failure as "invalid: <text>" or
// "range: <text>".
std::string convert(const std::string& conversion, const std::string& reply) {
    try {
        if (conversion == "stoi")
            return as_text(to_int(reply));
        if (conversion == "stoll")
            return as_text(to_long_long(reply));
        if (conversion == "stoul")
            return as_text(to_unsigned_long(reply));
        if (conversion == "stof")
            return as_text(to_float(reply));
        if (conversion == "stod")
            return as_text(to_double(reply));
        return as_text(to_int_or_zero(reply));
    } catch (const std::out_of_range& failure) {
        return std::string("range: ") + failure.what();
    } catch (const std::invalid_argument& failure) {
        return std::string("invalid: ") + failure.what();
    }
}

// Each parameter getter's table reads its conversion's typical failure
// through the exported functions; these rows are the edges.
TEST(number_conversion, each_conversion_reads_stops_and_fails_with_its_own_text) {
    const conversion_case cases[] = {
        {"stoi", "12", "12"},
        {"stoi", "  \t\n-42xyz", "-42"},
        {"stoi", "+7", "7"},
        {"stoi", "12 34", "12"},
        {"stoi", "0x1A", "0"},
        {"stoi", "2147483647", "2147483647"},
        {"stoi", "-2147483648", "-2147483648"},
        {"stoi", "-2147483649", "range: stoi argument out of range"},
        {"stoi", "99999999999999999999999", "range: stoi argument out of range"},
        {"stoi", "", "invalid: invalid stoi argument"},
        {"stoi", "   ", "invalid: invalid stoi argument"},
        {"stoi", "-", "invalid: invalid stoi argument"},
        {"stoi", "- 5", "invalid: invalid stoi argument"},
        {"stoll", "9223372036854775807", "9223372036854775807"},
        {"stoll", "-9223372036854775808", "-9223372036854775808"},
        {"stoll", "us", "invalid: invalid stoll argument"},
        // The camera's native unsigned long is 32 bits wide.
        {"stoul", "4294967295", "4294967295"},
        {"stoul", "-1", "4294967295"},
        {"stoul", " -4294967295", "1"},
        {"stoul", "-4294967296", "range: stoul argument out of range"},
        {"stoul", "-0", "0"},
        {"stoul", "18446744073709551616", "range: stoul argument out of range"},
        {"stoul", "q", "invalid: invalid stoul argument"},
        {"stoul", "- 1", "invalid: invalid stoul argument"},
        {"stof", " -2.25e1x", "-22.5"},
        {"stod", "5500", "5500"},
        {"stod", "1e309", "range: stod argument out of range"},
        {"plain", "123abc", "123"},
        {"plain", "abc", "0"},
        {"plain", "", "0"},
        {"plain", "99999999999", "2147483647"},
        {"plain", "-99999999999", "-2147483648"},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(convert(entry.conversion, entry.reply), entry.expected)
            << entry.conversion << " of '" << entry.reply << "'";
    }
}

}  // namespace
