// The kit's logger front: loggers kept per pair of name pointers, messages
// formatted whole and forwarded to the logging library when it is there,
// and silence, never failure, when it is not.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "companions/temporary_directory.h"
#include "quendral_vko_logging.h"
#include "support/test_platform.h"

namespace {

constexpr const char* configuration_name = "quendral_vko_logger.cfg";
constexpr const char* module_name = "front_test";  // one address for the whole file
constexpr const char* group_name = "usb";

// Every test works in a fresh directory and leaves no logger behind.
class logger_front_test : public testing::Test {
  protected:
    void TearDown() override {
        t_free_logger(module_name, group_name);
        qx::test::set_environment("QX_CAMERA_MODULE_PATH", nullptr);
    }
    void enable_logging(int level = 9) {
        directory.write_file(configuration_name, "output = out.log\nlevel = " + std::to_string(level) + "\n");
    }
    std::vector<std::string> read_log() const { return directory.read_lines("out.log"); }

    qx::test::temporary_working_directory directory;
};

TEST_F(logger_front_test, without_a_configuration_or_the_entry_points_loggers_are_silent_and_usable) {
    const struct {
        const char* condition;
        const char* module_path;
    } rows[] = {{"no configuration", nullptr}, {"no entry points", QX_LOGGER_FIXTURE_DIR}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.condition);
        if (row.module_path != nullptr)
            enable_logging();
        qx::test::set_environment("QX_CAMERA_MODULE_PATH", row.module_path);
        void* logger = t_get_logger(module_name, group_name);
        ASSERT_NE(logger, nullptr);
        t_log_error(logger, __FILE__, __LINE__, __func__, "error %d", 1);
        t_log_information(logger, __FILE__, __LINE__, __func__, "information %s", "text");
        t_log_trace(logger, __FILE__, __LINE__, __func__, "trace");
        enable_logging();  // too late for a logger built without it
        t_log_error(logger, __FILE__, __LINE__, __func__, "still silent");
        EXPECT_FALSE(directory.has_file("out.log"));
        EXPECT_EQ(t_free_logger(module_name, group_name), 1);
        EXPECT_EQ(t_free_logger(module_name, group_name), 0);
    }
}

TEST_F(logger_front_test, loggers_are_kept_by_name_addresses_and_equal_texts_share_the_log) {
    enable_logging();
    static const char other_module[] = "front_test";  // equal text, another address
    void* logger = t_get_logger(module_name, group_name);
    EXPECT_EQ(t_get_logger(module_name, group_name), logger);
    void* other = t_get_logger(other_module, group_name);
    ASSERT_NE(other, logger);
    t_log_error(other, "a.cpp", 1, "f", "from the other");
    EXPECT_EQ(t_free_logger(other_module, group_name), 1);
    EXPECT_EQ(t_get_logger(module_name, group_name), logger) << "freeing the other left this one";
    t_log_error(logger, "a.cpp", 2, "f", "after the other was freed");
    const auto lines = read_log();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[1].find("after the other was freed"), std::string::npos);
    EXPECT_EQ(t_free_logger(module_name, group_name), 1);
}

TEST_F(logger_front_test,
       each_level_arrives_formatted_with_its_call_site_and_a_null_logger_or_format_writes_nothing) {
    enable_logging();
    void* logger = t_get_logger(module_name, group_name);
    t_log_error(logger, "camera.cpp", 11, "open", "code %d in %s", 17, "open");
    t_log_information(logger, "camera.cpp", 22, "arm", "%u frames of %.1f ms", 3u, 2.5);
    t_log_trace(logger, "camera.cpp", 33, "read", "%c%s%%", 'x', "yz");
    // A null logger or format does nothing.
    t_log_error(nullptr, __FILE__, __LINE__, __func__, "nothing");
    t_log_information(nullptr, __FILE__, __LINE__, __func__, "nothing");
    t_log_trace(nullptr, __FILE__, __LINE__, __func__, "nothing");
    t_log_error(logger, __FILE__, __LINE__, __func__, nullptr);
    const auto lines = read_log();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].substr(25), "ERROR front_test/usb camera.cpp:11 open: code 17 in open");
    EXPECT_EQ(lines[1].substr(25), "INFO front_test/usb camera.cpp:22 arm: 3 frames of 2.5 ms");
    EXPECT_EQ(lines[2].substr(25), "TRACE front_test/usb camera.cpp:33 read: xyz%");
}

TEST_F(logger_front_test, a_message_longer_than_any_fixed_buffer_arrives_whole) {
    enable_logging();
    std::string long_text;
    for (int index = 0; long_text.size() < 100000; ++index) long_text += std::to_string(index) + ";";
    void* logger = t_get_logger(module_name, group_name);
    t_log_information(logger, "camera.cpp", 1, "f", "<%s|%d>", long_text.c_str(), 99);
    const auto lines = read_log();
    ASSERT_EQ(lines.size(), 1u);
    const std::string expected_end = "f: <" + long_text + "|99>";
    ASSERT_GE(lines[0].size(), expected_end.size());
    EXPECT_EQ(lines[0].substr(lines[0].size() - expected_end.size()), expected_end);
}

}  // namespace
