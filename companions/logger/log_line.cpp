#include "log_line.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace qx {

namespace {

struct level_entry {
    int level;
    const char* name;
};

constexpr std::array<level_entry, 4> level_names{{
    {2, "ERROR"},
    {4, "WARNING"},
    {5, "INFO"},
    {7, "TRACE"},
}};

std::string_view text_or_dash(const char* text) {
    return text == nullptr ? std::string_view("-") : text;
}

std::string format_utc_time(std::chrono::system_clock::time_point time) {
    const auto since_epoch = time.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since_epoch);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch - seconds);
    const std::time_t whole_seconds = static_cast<std::time_t>(seconds.count());
    std::tm utc{};
#if defined(_WIN32)
    gmtime_s(&utc, &whole_seconds);
#else
    gmtime_r(&whole_seconds, &utc);
#endif
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(milliseconds.count()));
    return text;
}

void append_on_one_line(std::string& line, std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) message.remove_suffix(1);
    for (const char character : message) {
        if (character == '\n') {
            line += "\\n";
        } else if (character != '\r') {
            line += character;
        }
    }
}

}  // namespace

std::string level_name(int level) {
    for (const auto& entry : level_names) {
        if (entry.level == level)
            return entry.name;
    }
    return "LEVEL" + std::to_string(level);
}

std::string format_log_line(std::chrono::system_clock::time_point time, int level, const char* module_name,
                            const char* group_name, const char* file, int line, const char* function,
                            const char* message) {
    const std::string_view message_text = text_or_dash(message);
    std::string text;
    text.reserve(message_text.size() + 128);
    text += format_utc_time(time);
    text += ' ';
    text += level_name(level);
    text += ' ';
    text += text_or_dash(module_name);
    text += '/';
    text += text_or_dash(group_name);
    text += ' ';
    text += text_or_dash(file);
    text += ':';
    text += std::to_string(line);
    text += ' ';
    text += text_or_dash(function);
    text += ": ";
    append_on_one_line(text, message_text);
    text += '\n';
    return text;
}

}  // namespace qx
