#include "log_configuration_class.h"

#include <array>
#include <charconv>
#include <fstream>
#include <sstream>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace qx {

namespace {

constexpr const char* blanks = " \t\r\n";

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool is_absolute_path(const std::string& path) {
    if (!path.empty() && (path[0] == '/' || path[0] == '\\'))
        return true;
    return path.size() > 1 && path[1] == ':';  // a Windows drive letter
}

std::string directory_of(const std::string& path) {
    const auto cut = path.find_last_of("/\\");
    return cut == std::string::npos ? std::string() : path.substr(0, cut + 1);
}

std::string file_name_of(const std::string& path) {
    const auto cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

// The directory this library was loaded from, with a trailing separator, or
// an empty text when it cannot be had.
std::string own_library_directory() {
#if defined(_WIN32)
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&own_library_directory), &module)) {
        return {};
    }
    char path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(module, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return {};
    return directory_of(path);
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&own_library_directory), &info) == 0 || info.dli_fname == nullptr)
        return {};
    return directory_of(info.dli_fname);
#endif
}

std::optional<std::string> read_whole_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

std::optional<log_configuration_class> log_configuration_class::read_first_found(
    const std::string& file_name) {
    std::vector<std::string> candidates{file_name};
    const std::string library_directory = own_library_directory();
    if (!library_directory.empty())
        candidates.push_back(library_directory + file_name_of(file_name));
    for (const auto& candidate : candidates) {
        if (auto text = read_whole_file(candidate))
            return parse_text(*text, candidate);
    }
    return std::nullopt;
}

log_configuration_class log_configuration_class::parse_text(const std::string& text,
                                                            const std::string& file_path) {
    log_configuration_class configuration;
    configuration.file_path_ = file_path;
    std::istringstream lines(text);
    std::string line;
    for (int line_number = 1; std::getline(lines, line); ++line_number) {
        configuration.parse_line(line, line_number);
    }
    return configuration;
}

std::string log_configuration_class::get_output_target() const {
    if (output_ == "stderr" || output_ == "stdout" || is_absolute_path(output_))
        return output_;
    return directory_of(file_path_) + output_;
}

const log_configuration_class::key_entry* log_configuration_class::find_key(const std::string& key) {
    static constexpr std::array<key_entry, 3> keys{{
        {"output", &log_configuration_class::read_output},
        {"level", &log_configuration_class::read_level},
        {"append", &log_configuration_class::read_append},
    }};
    for (const auto& entry : keys) {
        if (key == entry.key)
            return &entry;
    }
    return nullptr;
}

void log_configuration_class::parse_line(const std::string& line, int line_number) {
    const std::string content = trim(line.substr(0, line.find('#')));
    if (content.empty())
        return;
    const auto equals = content.find('=');
    if (equals == std::string::npos) {
        warnings_.push_back({line_number, "expected 'key = value', line ignored"});
        return;
    }
    const std::string key = trim(content.substr(0, equals));
    const std::string value = trim(content.substr(equals + 1));
    const key_entry* entry = find_key(key);
    if (entry == nullptr) {
        warnings_.push_back({line_number, "unknown key '" + key + "' ignored"});
        return;
    }
    const std::string problem = entry->read_value(*this, value);
    if (!problem.empty())
        warnings_.push_back({line_number, problem});
}

std::string log_configuration_class::read_output(log_configuration_class& configuration,
                                                 const std::string& value) {
    if (value.empty())
        return "empty output ignored";
    configuration.output_ = value;
    return {};
}

std::string log_configuration_class::read_level(log_configuration_class& configuration,
                                                const std::string& value) {
    int level = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), level);
    if (error != std::errc() || end != value.data() + value.size()) {
        return "level '" + value + "' is not a whole number, ignored";
    }
    configuration.level_ = level;
    return {};
}

std::string log_configuration_class::read_append(log_configuration_class& configuration,
                                                 const std::string& value) {
    if (value == "yes" || value == "no") {
        configuration.append_ = value == "yes";
        return {};
    }
    return "append '" + value + "' is neither yes nor no, ignored";
}

}  // namespace qx
