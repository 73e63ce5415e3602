// The logging library: its configuration file, the level filter, the layout
// of a written line, and log objects shared between callers and threads.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "quendral_vko_logging.h"
#include "support/loaded_library.h"
#include "support/test_platform.h"
#include "temporary_directory.h"

namespace {

constexpr const char* configuration_name = "quendral_vko_logger.cfg";

class logging_library_test : public testing::Test {
  protected:
    // Log objects are shared by module and group text across the process, so
    // every test logs under its own module name.
    std::string module_name = testing::UnitTest::GetInstance()->current_test_info()->name();

    qx::test::temporary_working_directory directory;
    qx::test::loaded_library library{qx::test::library_path(QX_TEST_LIB_DIR, "quendral_vko_logger")};
    vko_get_log_t get_log = library.find_function<vko_get_log_t>("vko_get_log");
    vko_log_t write_log = library.find_function<vko_log_t>("vko_log");
    vko_free_log_t free_log = library.find_function<vko_free_log_t>("vko_free_log");

    void* get_configured_log(const std::string& configuration, const char* group = "usb") {
        directory.write_file(configuration_name, configuration);
        return get_log(module_name.c_str(), group, configuration_name);
    }
    int write_message(void* log, int level, const char* message) {
        return write_log(log, level, "camera.cpp", 42, "open_port", message);
    }
    std::vector<std::string> read_log() const { return directory.read_lines("out.log"); }
};

TEST_F(logging_library_test, without_a_usable_configuration_logging_is_off) {
    EXPECT_EQ(get_log(module_name.c_str(), "usb", configuration_name), nullptr);
    EXPECT_EQ(get_log(module_name.c_str(), "usb", nullptr), nullptr);
    EXPECT_EQ(get_configured_log("output = no/such/directory/out.log\n"), nullptr) << "an unopenable output";
    EXPECT_EQ(free_log(module_name.c_str(), "usb"), 1) << "nothing was handed out";
}

TEST_F(logging_library_test, a_line_holds_utc_time_level_names_call_site_and_text) {
    // Far from UTC, so a local time would show.
    const char* previous_zone = std::getenv("TZ");
    const std::string saved_zone = previous_zone == nullptr ? "" : previous_zone;
    qx::test::set_environment("TZ", "Asia/Kolkata");
    tzset();
    void* log = get_configured_log("output = out.log\n");
    ASSERT_NE(log, nullptr);
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(write_message(log, 5, "port 3 opened"), 0);
    qx::test::set_environment("TZ", previous_zone == nullptr ? nullptr : saved_zone.c_str());
    tzset();

    const auto lines = read_log();
    ASSERT_EQ(lines.size(), 1u);
    std::smatch parts;
    const std::regex layout(R"(^(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2})\.\d{3}Z (.*)$)");
    ASSERT_TRUE(std::regex_match(lines[0], parts, layout)) << lines[0];
    EXPECT_EQ(parts[2].str(), "INFO " + module_name + "/usb camera.cpp:42 open_port: port 3 opened");
    std::tm written{};
    std::istringstream(parts[1].str()) >> std::get_time(&written, "%Y-%m-%dT%H:%M:%S");
    EXPECT_LE(std::abs(static_cast<long>(qx::test::utc_seconds(written) - before)), 60L) << lines[0];
    EXPECT_EQ(free_log(module_name.c_str(), "usb"), 0);
}

TEST_F(logging_library_test, every_message_stays_on_one_line_and_missing_texts_show_as_dashes) {
    void* log = get_configured_log("output = out.log\nlevel = 9\n");
    ASSERT_NE(log, nullptr);
    ASSERT_EQ(write_log(log, 2, nullptr, 7, nullptr, "first\nsecond\r\n"), 0);
    ASSERT_EQ(write_log(log, 3, "a.cpp", 1, "f", "odd level"), 0);
    const auto lines = read_log();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(" ERROR " + module_name + "/usb -:7 -: first\\nsecond"), std::string::npos)
        << lines[0];
    EXPECT_EQ(lines[0].back(), 'd') << "the final line break is dropped";
    EXPECT_NE(lines[1].find(" LEVEL3 "), std::string::npos) << lines[1];
    free_log(module_name.c_str(), "usb");
}

TEST_F(logging_library_test, writes_messages_at_or_below_the_configured_level) {
    const struct {
        const char* level_line;
        std::set<std::string> written_levels;
    } rows[] = {
        {"", {"ERROR", "INFO"}},  // the default is 5
        {"level = 2", {"ERROR"}},
        {"level=7", {"ERROR", "INFO", "TRACE"}},
        {"  level   =   5  ", {"ERROR", "INFO"}},
        {"level = 0", {}},
        {"# level = 7", {"ERROR", "INFO"}},
        {"level = 7 # all", {"ERROR", "INFO", "TRACE"}},
        {"level = 7\nlevel = 2", {"ERROR"}},  // the last one counts
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.level_line);
        void* log =
            get_configured_log(std::string("output = out.log\nappend = no\n") + row.level_line + "\n");
        ASSERT_NE(log, nullptr);
        for (const int level : {QX_LOG_LEVEL_ERROR, QX_LOG_LEVEL_INFORMATION, QX_LOG_LEVEL_TRACE}) {
            EXPECT_EQ(write_message(log, level, "message"), 0);
        }
        std::set<std::string> written;
        for (const auto& line : read_log()) written.insert(line.substr(25, line.find(' ', 25) - 25));
        EXPECT_EQ(written, row.written_levels);
        ASSERT_EQ(free_log(module_name.c_str(), "usb"), 0);
    }
}

TEST_F(logging_library_test, an_unusable_line_is_reported_once_and_the_rest_applies) {
    const struct {
        const char* line;
        const char* warning;
    } rows[] = {
        {"colour = red", "unknown key 'colour' ignored"},
        {"Level = 7", "unknown key 'Level' ignored"},
        {"level = high", "level 'high' is not a whole number, ignored"},
        {"level = 7x", "level '7x' is not a whole number, ignored"},
        {"append = maybe", "append 'maybe' is neither yes nor no, ignored"},
        {"output =", "empty output ignored"},
        {"just some text", "expected 'key = value', line ignored"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        std::filesystem::remove(directory.get_path() / "out.log");
        void* log = get_configured_log(std::string("output = out.log\n") + row.line + "\nlevel = 7\n");
        ASSERT_NE(log, nullptr);
        void* second = get_log(module_name.c_str(), "second group", configuration_name);
        ASSERT_NE(second, nullptr);
        ASSERT_EQ(write_message(log, QX_LOG_LEVEL_TRACE, "still traced"), 0);
        const auto lines = read_log();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_NE(lines[0].find(" WARNING quendral_vko_logger/configuration quendral_vko_logger.cfg:2 -: " +
                                std::string(row.warning)),
                  std::string::npos)
            << lines[0];
        EXPECT_NE(lines[1].find("still traced"), std::string::npos);
        ASSERT_EQ(free_log(module_name.c_str(), "usb"), 0);
        ASSERT_EQ(free_log(module_name.c_str(), "second group"), 0);
    }
}

TEST_F(logging_library_test, append_keeps_or_replaces_what_the_file_held) {
    for (const char* append : {"yes", "no"}) {
        directory.write_file("out.log", "earlier line\n");
        void* log = get_configured_log(std::string("output = out.log\nappend = ") + append + "\n");
        ASSERT_NE(log, nullptr);
        ASSERT_EQ(write_message(log, 2, "new line"), 0);
        const auto lines = read_log();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.front() == "earlier line", std::string(append) == "yes") << append;
        EXPECT_NE(lines.back().find("new line"), std::string::npos);
        ASSERT_EQ(free_log(module_name.c_str(), "usb"), 0);
    }
}

TEST_F(logging_library_test,
       a_relative_output_is_beside_the_configuration_and_that_is_also_found_beside_the_library) {
    directory.write_file("settings/logging.cfg", "output = written.log\n");
    void* log = get_log(module_name.c_str(), "usb", "settings/logging.cfg");
    ASSERT_NE(log, nullptr);
    ASSERT_EQ(write_message(log, 2, "beside"), 0);
    EXPECT_EQ(directory.read_lines("settings/written.log").size(), 1u);
    EXPECT_FALSE(directory.has_file("written.log"));
    free_log(module_name.c_str(), "usb");

    // The configuration is also found beside the library: a copy of the library in its own directory, with
    // the configuration beside it and none in the working directory.
    const auto library_directory = directory.get_path() / "lib";
    std::filesystem::create_directories(library_directory);
    const std::string library_file = qx::test::library_file("quendral_vko_logger");
    std::filesystem::copy_file(qx::test::library_path(QX_TEST_LIB_DIR, "quendral_vko_logger"),
                               library_directory / library_file);
    const auto output = directory.get_path() / "beside_library.log";
    directory.write_file("lib/quendral_vko_logger.cfg", "output = " + output.string() + "\n");
    qx::test::loaded_library copy((library_directory / library_file).string());
    const auto copied_get_log = copy.find_function<vko_get_log_t>("vko_get_log");
    log = copied_get_log(module_name.c_str(), "usb", configuration_name);
    ASSERT_NE(log, nullptr);
    ASSERT_EQ(copy.find_function<vko_log_t>("vko_log")(log, 2, "f.cpp", 1, "f", "found"), 0);
    EXPECT_EQ(directory.read_lines("beside_library.log").size(), 1u);
    EXPECT_EQ(copy.find_function<vko_free_log_t>("vko_free_log")(module_name.c_str(), "usb"), 0);
}

TEST_F(logging_library_test, standard_error_is_an_output) {
    void* log = get_configured_log("output = stderr\n");
    ASSERT_NE(log, nullptr);
    testing::internal::CaptureStderr();
    write_message(log, 2, "to the error stream");
    const std::string captured = testing::internal::GetCapturedStderr();
    EXPECT_NE(captured.find("camera.cpp:42 open_port: to the error stream\n"), std::string::npos) << captured;
    free_log(module_name.c_str(), "usb");
}

TEST_F(logging_library_test,
       a_log_object_lives_until_its_last_reference_is_released_and_refuses_unusable_arguments) {
    void* log = get_configured_log("output = out.log\n");
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(get_log(module_name.c_str(), "usb", configuration_name), log);
    EXPECT_EQ(free_log(module_name.c_str(), "usb"), 0);
    EXPECT_EQ(write_message(log, 2, "after one release"), 0);
    // Unusable arguments write nothing.
    EXPECT_EQ(write_log(nullptr, 2, "f.cpp", 1, "f", "text"), 1);
    EXPECT_EQ(write_log(log, 2, "f.cpp", 1, "f", nullptr), 1);
    EXPECT_EQ(free_log(module_name.c_str(), "usb"), 0);
    EXPECT_EQ(free_log(module_name.c_str(), "usb"), 1);
    EXPECT_EQ(read_log().size(), 1u);
}

TEST_F(logging_library_test, lines_from_many_threads_and_log_objects_never_mix) {
    void* first = get_configured_log("output = out.log\n", "first");
    void* second = get_log(module_name.c_str(), "second", configuration_name);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    constexpr int thread_count = 4;
    constexpr int lines_per_thread = 250;
    std::vector<std::thread> threads;
    for (int thread_index = 0; thread_index < thread_count; ++thread_index) {
        threads.emplace_back([&, thread_index] {
            const std::string text = "thread " + std::to_string(thread_index) + " " + std::string(200, 'x');
            for (int line = 0; line < lines_per_thread; ++line) {
                write_message(thread_index % 2 == 0 ? first : second, 2, text.c_str());
            }
        });
    }
    for (auto& thread : threads) thread.join();
    const auto lines = read_log();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(thread_count * lines_per_thread));
    const std::regex intact(R"(^\S+ ERROR \S+/(first|second) camera\.cpp:42 open_port: thread \d x{200}$)");
    for (const auto& line : lines) ASSERT_TRUE(std::regex_match(line, intact)) << line;
    free_log(module_name.c_str(), "first");
    free_log(module_name.c_str(), "second");
}

}  // namespace
