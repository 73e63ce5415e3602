#pragma once
// The logging library's configuration file: "key = value" lines, '#' starts
// a comment (docs/logging.md). Lines it cannot use are kept as warnings,
// which the library writes into the log itself.

#include <optional>
#include <string>
#include <vector>

namespace qx {

struct configuration_warning {
    int line_number;
    std::string text;
};

class log_configuration_class {
  public:
    // Messages with a level above this are not written unless configured.
    static constexpr int default_level = 5;

    // Reads the first file found: @p file_name as given (relative to the
    // working directory), then the same file name beside the logging
    // library. Nothing when neither exists.
    static std::optional<log_configuration_class> read_first_found(const std::string& file_name);

    // Parses configuration text; @p file_path names where it came from (for
    // warnings and for resolving a relative output path).
    static log_configuration_class parse_text(const std::string& text, const std::string& file_path);

    const std::string& get_file_path() const { return file_path_; }
    // "stderr", "stdout", or a file path; a relative path is resolved against
    // the configuration file's directory.
    std::string get_output_target() const;
    int get_level() const { return level_; }
    bool get_append() const { return append_; }
    const std::vector<configuration_warning>& get_warnings() const { return warnings_; }

  private:
    // Each key's reader returns an empty text when the value is usable, else
    // the reason it was ignored.
    using value_reader = std::string (*)(log_configuration_class& configuration, const std::string& value);
    struct key_entry {
        const char* key;
        value_reader read_value;
    };
    static std::string read_output(log_configuration_class& configuration, const std::string& value);
    static std::string read_level(log_configuration_class& configuration, const std::string& value);
    static std::string read_append(log_configuration_class& configuration, const std::string& value);
    static const key_entry* find_key(const std::string& key);
    void parse_line(const std::string& line, int line_number);

    std::string file_path_;
    std::string output_ = "stderr";
    int level_ = default_level;
    bool append_ = true;
    std::vector<configuration_warning> warnings_;
};

}  // namespace qx
