#include "json_reading.h"

#include <limits>

#include "emulator_error_class.h"

namespace qx::emulator::json_reading {

namespace {

const char* type_name(const nlohmann::json& value) {
    if (value.is_boolean()) {
        return "a boolean";
    }
    if (value.is_number()) {
        return "a number";
    }
    if (value.is_string()) {
        return "a string";
    }
    if (value.is_array()) {
        return "an array";
    }
    if (value.is_object()) {
        return "an object";
    }
    return "null";
}

[[noreturn]] void fail_expected(const nlohmann::json& value, const std::string& where,
                                const std::string& expected) {
    fail(where, "expected " + expected + ", got " + type_name(value) +
                    (value.is_primitive() && !value.is_null() ? " " + value.dump() : std::string()));
}

}  // namespace

void fail(const std::string& where, const std::string& text) {
    throw emulator_error_class(QX_EMU_INVALID, where + ": " + text);
}

std::int64_t read_integer(const nlohmann::json& value, const std::string& where, std::int64_t min,
                          std::int64_t max) {
    const std::string expected = "an integer " + std::to_string(min) + ".." + std::to_string(max);
    if (!value.is_number_integer()) {
        fail_expected(value, where, expected);
    }
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(max)) {
        fail_expected(value, where, expected);
    }
    const auto number = value.get<std::int64_t>();
    if (number < min || number > max) {
        fail_expected(value, where, expected);
    }
    return number;
}

std::uint64_t read_unsigned(const nlohmann::json& value, const std::string& where) {
    if (!value.is_number_integer() || (!value.is_number_unsigned() && value.get<std::int64_t>() < 0)) {
        fail_expected(value, where,
                      "an integer 0.." + std::to_string(std::numeric_limits<std::uint64_t>::max()));
    }
    return value.get<std::uint64_t>();
}

double read_number(const nlohmann::json& value, const std::string& where, double min, double max) {
    const auto text_of = [](double bound) {
        return bound == static_cast<double>(static_cast<std::int64_t>(bound))
                   ? std::to_string(static_cast<std::int64_t>(bound))
                   : nlohmann::json(bound).dump();
    };
    const std::string expected = "a number " + text_of(min) + ".." + text_of(max);
    if (!value.is_number()) {
        fail_expected(value, where, expected);
    }
    const auto number = value.get<double>();
    if (!(number >= min && number <= max)) {
        fail_expected(value, where, expected);
    }
    return number;
}

std::string read_string(const nlohmann::json& value, const std::string& where) {
    if (!value.is_string()) {
        fail_expected(value, where, "a string");
    }
    return value.get<std::string>();
}

std::string read_word(const nlohmann::json& value, const std::string& where) {
    auto text = read_string(value, where);
    if (text.empty() || text.find_first_of(" \t\r\n") != std::string::npos) {
        fail(where, "expected a word without blanks, got \"" + text + "\"");
    }
    return text;
}

std::size_t read_choice(const nlohmann::json& value, const std::string& where,
                        std::initializer_list<std::string_view> choices) {
    std::string expected = "one of";
    for (const auto choice : choices) {
        expected += std::string(" \"") + std::string(choice) + "\"";
    }
    if (value.is_string()) {
        const auto text = value.get<std::string>();
        std::size_t index = 0;
        for (const auto choice : choices) {
            if (choice == text) {
                return index;
            }
            ++index;
        }
    }
    fail_expected(value, where, expected);
}

template <class element_type, class reader_type>
std::vector<element_type> read_list(const nlohmann::json& value, const std::string& where,
                                    const char* expected, const reader_type& read_element) {
    if (!value.is_array()) {
        fail_expected(value, where, expected);
    }
    std::vector<element_type> list;
    for (std::size_t i = 0; i < value.size(); ++i) {
        list.push_back(read_element(value[i], index_place(where, i)));
    }
    return list;
}

std::vector<std::uint64_t> read_index_list(const nlohmann::json& value, const std::string& where) {
    return read_list<std::uint64_t>(value, where, "an array of integers 0 or more", read_unsigned);
}

std::vector<std::string> read_word_list(const nlohmann::json& value, const std::string& where) {
    return read_list<std::string>(value, where, "an array of words", read_word);
}

const nlohmann::json& require_object(const nlohmann::json& value, const std::string& where) {
    if (!value.is_object()) {
        fail_expected(value, where, "an object");
    }
    return value;
}

std::string key_place(const std::string& prefix, std::string_view key) {
    // A nested place ("camera 1: key 'faults'") gets the key appended inside the quotes.
    if (!prefix.empty() && prefix.back() == '\'') {
        return prefix.substr(0, prefix.size() - 1) + "." + std::string(key) + "'";
    }
    return prefix + ": key '" + std::string(key) + "'";
}

std::string index_place(const std::string& place, std::size_t index) {
    // Built by appending: GCC 12 warns falsely about literal + std::string here at -O3.
    std::string element(1, '[');
    element += std::to_string(index);
    element += ']';
    if (!place.empty() && place.back() == '\'') {
        return place.substr(0, place.size() - 1) + element + "'";
    }
    return place + element;
}

}  // namespace qx::emulator::json_reading
