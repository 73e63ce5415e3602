// The dynamic-loading seam: library names and the module search path.

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/shared_library.h"

namespace {

using namespace qx::platform;

TEST(shared_library, maps_windows_file_names_to_shared_objects) {
    EXPECT_EQ(map_library_file_name("quendral_vko_camera_sdk.dll"), "libquendral_vko_camera_sdk.so");
    EXPECT_EQ(map_library_file_name("quendral_vko_usb_hotplug_monitor.dll"),
              "libquendral_vko_usb_hotplug_monitor.so");
    EXPECT_EQ(map_library_file_name("quendral_vko_ralto_camera_device.dll"),
              "libquendral_vko_ralto_camera_device.so");
    EXPECT_EQ(map_library_file_name("quendral_vko_logger.dll"), "libquendral_vko_logger.so");
    // Only a final ".dll" is mapped.
    EXPECT_EQ(map_library_file_name("libalready.so"), "libalready.so");
    EXPECT_EQ(map_library_file_name(".dll"), ".dll");
    EXPECT_EQ(map_library_file_name("a.dll.bak"), "a.dll.bak");
}

TEST(shared_library, a_loaded_library_is_known_by_its_plain_or_versioned_file_name) {
    struct case_row {
        const char* loaded;
        bool same;
    } const rows[] = {
        {"libquendral_vko_camera_sdk.so", true},       {"libquendral_vko_camera_sdk.so.0", true},
        {"libquendral_vko_camera_sdk.so.0.1.0", true}, {"libquendral_vko_camera_sdk.so.12.3", true},
        {"libquendral_vko_camera_sdk.so.", false},     {"libquendral_vko_camera_sdk.so.0.", false},
        {"libquendral_vko_camera_sdk.so..0", false},   {"libquendral_vko_camera_sdk.so.x", false},
        {"libquendral_vko_camera_sdk.so.0a", false},   {"libquendral_vko_camera_sdk.sox", false},
        {"libquendral_vko_camera_sdk_old.so", false},  {"libquendral_vko_camera.so", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(is_same_library_file(row.loaded, "libquendral_vko_camera_sdk.so"), row.same) << row.loaded;
}

TEST(shared_library, searches_the_module_path_in_order_then_the_own_directory) {
    setenv("QX_CAMERA_MODULE_PATH", "/first:/second/dir::/third", 1);
    const auto directories = module_search_directories();
    unsetenv("QX_CAMERA_MODULE_PATH");
    ASSERT_GE(directories.size(), 4u);
    EXPECT_EQ(directories[0], "/first");
    EXPECT_EQ(directories[1], "/second/dir");
    EXPECT_EQ(directories[2], "/third");
    EXPECT_EQ(directories[3] + "/" + file_name_of(own_library_path()), own_library_path());
}

TEST(shared_library, finding_and_loading_missing_libraries_gives_null) {
    EXPECT_EQ(load_library("no_such_library_anywhere.dll"), nullptr);
    EXPECT_EQ(find_loaded_library("no_such_library_anywhere.dll"), nullptr);
    EXPECT_EQ(find_symbol(nullptr, "x"), nullptr);
    EXPECT_EQ(file_name_of("C:\\dir\\x.dll"), "x.dll");
    EXPECT_EQ(file_name_of("/a/b/libx.so"), "libx.so");
    EXPECT_EQ(file_name_of("plain"), "plain");
}

}  // namespace
