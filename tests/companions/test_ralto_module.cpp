// The ralto family's device module as the kit loads it: a library with the
// device-module entry points, listing no camera until a camera source is
// plugged into it. What the module does with cameras and hot-plug events is
// checked on its class.

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "quendral_vko_device_module.h"
#include "support/loaded_library.h"
#include "support/test_platform.h"

namespace {

class ralto_module_test : public testing::Test {
  protected:
    qx::test::loaded_library library{
        qx::test::library_path(QX_TEST_LIB_DIR, "quendral_vko_ralto_camera_device")};
    qx_get_function_t get_function = library.find_function<qx_get_function_t>("qx_get_function");
    qx_get_device_ids_t get_device_ids = library.find_function<qx_get_device_ids_t>("get_device_ids");
    qx_create_t create = library.find_function<qx_create_t>("create");
    qx_get_module_data_t get_module_data = library.find_function<qx_get_module_data_t>("qx_get_module_data");
    qx_set_module_data_t set_module_data = library.find_function<qx_set_module_data_t>("qx_set_module_data");
};

TEST_F(ralto_module_test, function_table_finds_every_entry_point_by_exact_name) {
    for (const char* name :
         {"qx_module_initialize", "qx_module_uninitialize", "qx_get_function", "qx_module_get_name",
          "qx_module_get_type", "get_device_ids", "create", "destroy", "get_data__returns_zero_for_success",
          "set_data__returns_zero_for_success", "qx_get_module_data", "qx_set_module_data"}) {
        EXPECT_EQ(get_function(name), qx::platform::find_symbol(library.get_handle(), name)) << name;
    }
    EXPECT_EQ(get_function("qx_module_get_nam"), nullptr);
    EXPECT_EQ(get_function("QX_MODULE_GET_NAME"), nullptr);
    EXPECT_EQ(get_function(nullptr), nullptr);
}

TEST_F(ralto_module_test, module_data_keys_version_and_unknown) {
    std::array<char, 8> value;
    value.fill('#');
    ASSERT_EQ(get_module_data("version", value.data(), 0), 0);
    EXPECT_EQ(std::memcmp(value.data(), "1.0", 4), 0);
    EXPECT_EQ(value[4], '#');
    EXPECT_EQ(get_module_data("version", nullptr, 0), 1);
    // Unknown keys are accepted and do nothing.
    value.fill('#');
    EXPECT_EQ(get_module_data("versions", value.data(), 0), 0);
    EXPECT_EQ(set_module_data("version", value.data(), 0), 0);
    EXPECT_EQ(value[0], '#');
    EXPECT_EQ(get_module_data(nullptr, value.data(), 0), 1);
    EXPECT_EQ(set_module_data(nullptr, value.data(), 0), 1);
}

TEST_F(ralto_module_test, lists_no_camera_as_a_lone_full_stop_and_creates_none) {
    std::array<char, 8> ids;
    std::array<char, 8> serials;
    ids.fill('#');
    serials.fill('#');
    ASSERT_EQ(get_device_ids(ids.data(), 2, serials.data(), 1), 0) << "exactly enough room";
    EXPECT_STREQ(ids.data(), ".");
    EXPECT_STREQ(serials.data(), "");
    EXPECT_EQ(get_device_ids(ids.data(), 1, serials.data(), 1), 1) << "no room for the terminator";
    EXPECT_EQ(get_device_ids(nullptr, 8, serials.data(), 8), 1);
    EXPECT_EQ(get_device_ids(ids.data(), 8, nullptr, 8), 1);

    // Creating an unlisted id fails and clears the device.
    int sentinel = 0;
    void* device = &sentinel;
    EXPECT_EQ(create("RALTO-0001", &device), 1);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(create(nullptr, &device), 1);
    EXPECT_EQ(create("RALTO-0001", nullptr), 1);
}

}  // namespace
