// The dynamic-loading seam: library names and the module search path, as
// each platform spells them.

#include <gtest/gtest.h>

#include "platform/shared_library.h"
#include "support/test_platform.h"

namespace {

using namespace qx::platform;

TEST(shared_library, maps_windows_file_names_to_the_platforms_own) {
    const struct {
        const char* windows_name;
        const char* posix_name;
    } cases[] = {
        {"quendral_vko_camera_sdk.dll", "libquendral_vko_camera_sdk.so"},
        // Only a final ".dll" is mapped.
        {"libalready.so", "libalready.so"},
        {".dll", ".dll"},
        {"a.dll.bak", "a.dll.bak"},
    };
    for (const auto& c : cases) {
#if defined(_WIN32)
        EXPECT_EQ(map_library_file_name(c.windows_name), c.windows_name);
#else
        EXPECT_EQ(map_library_file_name(c.windows_name), c.posix_name);
#endif
    }
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
#if defined(_WIN32)
    // Drive letters carry a ':', so Windows separates the entries with ';'.
    const char* module_path = "C:\\first;D:\\second dir;;E:\\third";
    const char* expected[] = {"C:\\first", "D:\\second dir", "E:\\third"};
    const char directory_separator = '\\';
#else
    const char* module_path = "/first:/second/dir::/third";
    const char* expected[] = {"/first", "/second/dir", "/third"};
    const char directory_separator = '/';
#endif
    qx::test::set_environment("QX_CAMERA_MODULE_PATH", module_path);
    const auto directories = module_search_directories();
    qx::test::set_environment("QX_CAMERA_MODULE_PATH", nullptr);
    ASSERT_EQ(directories.size(), 4u);
    for (std::size_t index = 0; index < 3; ++index) EXPECT_EQ(directories[index], expected[index]);
    EXPECT_EQ(directories[3] + directory_separator + file_name_of(own_library_path()), own_library_path());
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
