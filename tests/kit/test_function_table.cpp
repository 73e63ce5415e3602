// The kit library's function table and its built-in module's identity, as a
// caller that finds functions by name sees them.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/shared_library.h"
#include "quendral_vko_camera_sdk.h"

extern "C" {
void* qx_get_function(const char* function_name);
const char* qx_get_function_name(int index);
int qx_get_num_mod_attributes(void);
int qx_get_mod_attribute_value(const char* attribute_name, char* value, int value_size);
int get_mod_func_list_from_top(int count, void** functions);
void* get_function_from_shared_library__or_nullptr(void* library, const char* function_name);
int qx_get_module_data(const char* key, void* value, int reserved);
const char* qx_module_get_name(void);
const char* qx_module_get_type(void);
}

namespace {

TEST(function_table, finds_every_module_entry_point_by_exact_name) {
    void* kit = qx::platform::find_loaded_library("quendral_vko_camera_sdk.dll");
    ASSERT_NE(kit, nullptr);
    for (const char* name :
         {"qx_module_initialize", "qx_module_uninitialize", "qx_get_function", "qx_module_get_name",
          "qx_module_get_type", "get_device_ids", "create", "destroy", "get_data__returns_zero_for_success",
          "set_data__returns_zero_for_success", "qx_get_module_data", "qx_set_module_data",
          "qx_camera_open_sdk"}) {
        EXPECT_EQ(qx_get_function(name), qx::platform::find_symbol(kit, name)) << name;
        EXPECT_NE(qx_get_function(name), nullptr) << name;
    }
    EXPECT_EQ(qx_get_function("qx_module_get_nam"), nullptr);
    EXPECT_EQ(qx_get_function("QX_MODULE_GET_NAME"), nullptr);
    EXPECT_EQ(qx_get_function(""), nullptr);
    EXPECT_EQ(qx_get_function(nullptr), nullptr);
    EXPECT_EQ(get_function_from_shared_library__or_nullptr(kit, "qx_camera_open_sdk"),
              reinterpret_cast<void*>(&qx_camera_open_sdk));
    EXPECT_EQ(get_function_from_shared_library__or_nullptr(kit, "no_such_function"), nullptr);
    qx::platform::release_found_library(kit);
}

TEST(function_table, rows_by_index_match_names_and_asking_for_more_fills_what_exists_and_returns_2) {
    constexpr int asked = 4096;
    std::vector<void*> rows(asked, nullptr);
    EXPECT_EQ(get_mod_func_list_from_top(asked, rows.data()), 2);
    int filled = 0;
    while (filled < asked && rows[filled] != nullptr) ++filled;
    ASSERT_GT(filled, 10);
    // Names by index match addresses by name, row by row.
    for (int index = 0; index < filled; ++index)
        EXPECT_EQ(rows[index], qx_get_function(qx_get_function_name(index))) << index;
    EXPECT_EQ(get_mod_func_list_from_top(0, nullptr), 0);
}

TEST(function_table, module_attributes) {
    ASSERT_GE(qx_get_num_mod_attributes(), 3);
    char value[32];
    ASSERT_EQ(qx_get_mod_attribute_value("name", value, sizeof value), 0);
    EXPECT_STREQ(value, "QUENDRAL_VKO_QV_CAMERA_DEVICE");
    ASSERT_EQ(qx_get_mod_attribute_value("type", value, sizeof value), 0);
    EXPECT_STREQ(value, "DEVICE");
    EXPECT_EQ(qx_get_mod_attribute_value("colour", value, sizeof value), 5);
    EXPECT_EQ(qx_get_mod_attribute_value("name", value, 4), 15);
}

TEST(built_in_module, identity_and_version) {
    EXPECT_STREQ(qx_module_get_name(), "QUENDRAL_VKO_QV_CAMERA_DEVICE");
    EXPECT_STREQ(qx_module_get_type(), "DEVICE");
    char version[8];
    std::memset(version, 'x', sizeof version);
    ASSERT_EQ(qx_get_module_data("version", version, 0), 0);
    EXPECT_EQ(std::memcmp(version, "1.0\0xxxx", 8), 0);
    EXPECT_EQ(qx_get_module_data("version", nullptr, 0), 1);
    EXPECT_EQ(qx_get_module_data("something else", version, 0), 0);
}

}  // namespace
