#pragma once
// Type-checked reads of configuration values. Every failure names the place
// of the value (for example "camera 1: key 'bit_depth'") and what was
// expected, and is raised as an emulator_error_class with QX_EMU_INVALID.

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qx::emulator::json_reading {

/** Raises "<where>: <text>". */
[[noreturn]] void fail(const std::string& where, const std::string& text);

std::int64_t read_integer(const nlohmann::json& value, const std::string& where, std::int64_t min,
                          std::int64_t max);
std::uint64_t read_unsigned(const nlohmann::json& value, const std::string& where);
double read_number(const nlohmann::json& value, const std::string& where, double min, double max);
std::string read_string(const nlohmann::json& value, const std::string& where);
/** A string without blanks, non-empty. */
std::string read_word(const nlohmann::json& value, const std::string& where);
/** One of @p choices; answers its index. */
std::size_t read_choice(const nlohmann::json& value, const std::string& where,
                        std::initializer_list<std::string_view> choices);
std::vector<std::uint64_t> read_index_list(const nlohmann::json& value, const std::string& where);
std::vector<std::string> read_word_list(const nlohmann::json& value, const std::string& where);
/** Requires an object; answers it. */
const nlohmann::json& require_object(const nlohmann::json& value, const std::string& where);

/** "<prefix>: key '<key>'", or "<prefix>: key '<parent>.<key>'" for nested keys. */
std::string key_place(const std::string& prefix, std::string_view key);
/** The place of element @p index of an array: "<prefix>: key '<key>[<index>]'". */
std::string index_place(const std::string& place, std::size_t index);

}  // namespace qx::emulator::json_reading
