// The kit when its companion libraries are missing or refuse to start. A
// copy of the kit library that sits alone in its directory is loaded, so that
// only the directories named here are searched.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "companions/temporary_directory.h"
#include "quendral_vko_logging.h"
#include "support/loaded_library.h"

namespace {

namespace fs = std::filesystem;

struct isolated_kit {
    qx::test::loaded_library library{QX_ISOLATED_KIT_DIR "/libquendral_vko_camera_sdk.so"};
    int (*open_sdk)() = library.find_function<int (*)()>("qx_camera_open_sdk");
    int (*close_sdk)() = library.find_function<int (*)()>("qx_camera_close_sdk");
    const char* (*last_error)() = library.find_function<const char* (*)()>("qx_camera_get_last_error");
    decltype(&t_get_logger) get_logger = library.find_function<decltype(&t_get_logger)>("t_get_logger");
    decltype(&t_free_logger) free_logger = library.find_function<decltype(&t_free_logger)>("t_free_logger");
    decltype(&t_log_error) log_error = library.find_function<decltype(&t_log_error)>("t_log_error");
};

isolated_kit& kit() {
    static isolated_kit instance;
    return instance;
}

// A directory holding links to the chosen test libraries only.
class module_directory {
  public:
    explicit module_directory(std::initializer_list<const char*> libraries) {
        char pattern[] = "/tmp/qx_modules_XXXXXX";
        path = mkdtemp(pattern);
        for (const char* library : libraries) {
            fs::create_symlink(fs::path(QX_TEST_MODULE_DIR) / library, fs::path(path) / library);
        }
        setenv("QX_CAMERA_MODULE_PATH", path.c_str(), 1);
    }
    ~module_directory() {
        unsetenv("QX_CAMERA_MODULE_PATH");
        fs::remove_all(path);
    }
    module_directory(const module_directory&) = delete;
    module_directory& operator=(const module_directory&) = delete;

  private:
    std::string path;
};

constexpr const char* monitor = "libquendral_vko_usb_hotplug_monitor.so";
constexpr const char* second_family = "libquendral_vko_ralto_camera_device.so";

TEST(missing_companions, without_the_hotplug_monitor_the_kit_does_not_open) {
    module_directory directory({second_family});
    ASSERT_EQ(kit().open_sdk(), 1004);
    EXPECT_STREQ(kit().last_error(), "Hotplug monitor dll not found. Error: Invalid operation.");
}

TEST(missing_companions, a_monitor_that_fails_to_open_stops_the_kit) {
    module_directory directory({monitor, second_family});
    setenv("QX_TEST_MONITOR_OPEN_STATUS", "3", 1);
    EXPECT_EQ(kit().open_sdk(), 1004);
    unsetenv("QX_TEST_MONITOR_OPEN_STATUS");
    EXPECT_STREQ(kit().last_error(), "Cannot open hot plug. Error: Invalid operation.");
}

TEST(missing_companions, without_the_second_family_module_the_kit_does_not_open) {
    module_directory directory({monitor});
    ASSERT_EQ(kit().open_sdk(), 1004);
    EXPECT_STREQ(
        kit().last_error(),
        "Pointer is unexpectedly nullptr: Device_module_manager::Process_device_module expected shared "
        "library to be already loaded. Error: Invalid operation.");
}

TEST(missing_companions, with_both_companions_the_kit_opens_and_closes) {
    module_directory directory({monitor, second_family});
    EXPECT_EQ(kit().open_sdk(), 0) << kit().last_error();
    EXPECT_EQ(kit().close_sdk(), 0) << kit().last_error();
}

TEST(missing_companions, without_the_logging_library_loggers_are_silent_and_usable) {
    // Loggers are kept by the addresses of their names.
    static const char module_name[] = "front_test";
    static const char group_name[] = "usb";
    qx::test::temporary_working_directory directory;
    directory.write_file("quendral_vko_logger.cfg", "output = out.log\nlevel = 9\n");
    module_directory no_modules({});
    void* logger = kit().get_logger(module_name, group_name);
    ASSERT_NE(logger, nullptr);
    kit().log_error(logger, "a.cpp", 1, "f", "not written %d", 1);
    EXPECT_FALSE(directory.has_file("out.log")) << "a logging library was found after all";
    EXPECT_EQ(kit().free_logger(module_name, group_name), 1);
    EXPECT_EQ(kit().free_logger(module_name, group_name), 0);
}

}  // namespace
