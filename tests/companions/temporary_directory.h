#pragma once
// A fresh directory that a test works in: made the working directory for the
// test's duration and removed afterwards.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/test_platform.h"

namespace qx::test {

class temporary_working_directory {
  public:
    temporary_working_directory() : previous_(std::filesystem::current_path()) {
        path_ = make_unique_directory("qx_test_");
        std::filesystem::current_path(path_);
    }
    ~temporary_working_directory() {
        std::error_code ignored;
        std::filesystem::current_path(previous_, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_working_directory(const temporary_working_directory&) = delete;
    temporary_working_directory& operator=(const temporary_working_directory&) = delete;

    const std::filesystem::path& get_path() const { return path_; }

    void write_file(const std::filesystem::path& name, const std::string& text) const {
        const auto file_path = path_ / name;
        std::filesystem::create_directories(file_path.parent_path());
        std::ofstream(file_path, std::ios::binary) << text;
    }

    bool has_file(const std::filesystem::path& name) const { return std::filesystem::exists(path_ / name); }

    // The file's lines without their line ends; none when it does not exist.
    std::vector<std::string> read_lines(const std::filesystem::path& name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) lines.push_back(line);
        return lines;
    }

  private:
    std::filesystem::path previous_;
    std::filesystem::path path_;
};

}  // namespace qx::test
