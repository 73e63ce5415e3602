// Admission of device modules and the routing through them.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "kit/device_module_manager.h"
#include "support/loaded_library.h"
#include "support/scripted_module_state.h"
#include "support/test_platform.h"

namespace {

using qx::kit::Device_module_manager;
using qx::test::scripted_module_state;

// A scripted module library loaded under its own file name.
class loaded_module {
  public:
    loaded_module(const std::string& directory, const std::string& name)
        : library(qx::test::library_path(directory, name)),
          state(library.find_function<scripted_module_state* (*)()>("qx_scripted_module_state")()) {
        state->reset();
    }

    qx::test::loaded_library library;
    scripted_module_state* state;
};

std::string admission_failure(Device_module_manager& manager, const std::string& file_name) {
    try {
        manager.Process_device_module(nullptr, file_name);
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "";
}

// Every refused admission names its cause and admits nothing.
TEST(device_module_manager, refusals_name_their_cause_and_admit_nothing) {
    const std::string ralto = "quendral_vko_ralto_camera_device";
    const std::string manager = "Device_module_manager::Process_device_module ";
    const std::string not_device =
        "Condition is unexpectedly false: " + manager +
        "get_module_type did not return 'DEVICE' and is therefore not considered to "
        "be a device module.";
    const struct {
        std::string library;  // in the variant directory unless it is the ralto module
        std::string file_name;
        std::function<void(scripted_module_state&)> script;
        std::string message;
    } refusals[] = {
        {ralto, ralto + ".dll", [](auto& state) { state.module_type = "DEVICES"; }, not_device},
        {ralto, ralto + ".dll", [](auto& state) { state.module_type = "device"; }, not_device},
        {ralto, ralto + ".dll", [](auto& state) { state.module_type = "DEVIC"; }, not_device},
        {ralto, ralto + ".dll", [](auto& state) { state.module_type = ""; }, not_device},
        {ralto, ralto + ".dll", [](auto& state) { state.module_name = "  \t "; },
         "Trimmed string is empty: " + manager + "get_module_name did not return a name."},
        {ralto, "   ", [](auto&) {},
         "Trimmed string is empty: " + manager + "expected a shared-library file name."},
        {ralto, "not_loaded_anywhere.dll", [](auto&) {},
         "Pointer is unexpectedly nullptr: " + manager + "expected shared library to be already loaded."},
        {ralto, ralto + ".dll", [](auto& state) { state.initialize_status = 4; },
         "Condition is unexpectedly false: module_obj::module_obj call to qx_module_initialize returned an "
         "error code."},
        {"scripted_module_without_get_type", "scripted_module_without_get_type.dll", [](auto&) {},
         "Pointer is unexpectedly nullptr: qx_module_get_type not found in shared library."},
        {"scripted_module_without_initialize", "scripted_module_without_initialize.dll", [](auto&) {},
         "Pointer is unexpectedly nullptr: module_obj::module_obj qx_module_initialize not found."},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.message);
        loaded_module module(refusal.library == ralto ? QX_TEST_MODULE_DIR : QX_TEST_VARIANT_DIR,
                             refusal.library);
        refusal.script(*module.state);
        Device_module_manager manager;
        EXPECT_EQ(admission_failure(manager, refusal.file_name), refusal.message);
        EXPECT_TRUE(manager.modules().empty());
        EXPECT_TRUE(manager.module_names().empty());
    }
}

// A module without create is admitted, and creating through it fails; a
// second module of the same name is listed but the first one is reached.
TEST(device_module_manager, a_module_without_create_is_admitted_and_of_two_same_names_the_first_is_reached) {
    loaded_module first(QX_TEST_MODULE_DIR, "quendral_vko_ralto_camera_device");
    loaded_module second(QX_TEST_VARIANT_DIR, "scripted_module_without_create");
    second.state->add_camera("id-1", "SN1");
    Device_module_manager manager;
    ASSERT_EQ(admission_failure(manager, "scripted_module_without_create.dll"), "");
    ASSERT_EQ(manager.modules().size(), 1u);
    EXPECT_EQ(manager.modules().front()->create, nullptr);
    EXPECT_NE(manager.modules().front()->get_device_ids, nullptr);
    EXPECT_FALSE(manager.create_device("QUENDRAL_VKO_RALTO_CAMERA_DEVICE", "id-1").has_value());

    first.state->module_name = "SAME";
    second.state->module_name = "SAME";
    first.state->add_camera("first-id", "SN-FIRST");
    Device_module_manager same_names;
    same_names.Process_device_module(nullptr, "quendral_vko_ralto_camera_device.dll");
    same_names.Process_device_module(nullptr, "scripted_module_without_create.dll");
    EXPECT_EQ(same_names.module_names(), "SAME,SAME,");
    same_names.finish_admission();
    EXPECT_EQ(same_names.module_names(), "SAME,SAME");
    auto device = same_names.create_device("SAME", "first-id");
    ASSERT_TRUE(device.has_value());
    EXPECT_EQ(device->destroy_device(), 0);
    EXPECT_EQ(same_names.find_module("SAME"), same_names.modules().front());
    EXPECT_EQ(same_names.find_module("same"), nullptr);
}

TEST(device_module_manager, gathers_ids_per_module_and_checks_the_caller_buffers) {
    loaded_module module(QX_TEST_MODULE_DIR, "quendral_vko_ralto_camera_device");
    module.state->add_camera("a", "S1");
    module.state->add_camera("b", "S2");
    Device_module_manager manager;
    manager.Process_device_module(nullptr, "quendral_vko_ralto_camera_device.dll");
    char ids[128];
    char serials[128];
    ASSERT_EQ(manager.get_device_ids(ids, sizeof ids, serials, sizeof serials), 0);
    EXPECT_STREQ(ids, "QUENDRAL_VKO_RALTO_CAMERA_DEVICE:a,b,..");
    EXPECT_STREQ(serials, "QUENDRAL_VKO_RALTO_CAMERA_DEVICE:S1,S2,.");
    // The text plus its terminator must fit.
    const int exact = static_cast<int>(std::strlen("QUENDRAL_VKO_RALTO_CAMERA_DEVICE:a,b,..")) + 1;
    EXPECT_EQ(manager.get_device_ids(ids, exact, serials, sizeof serials), 0);
    EXPECT_EQ(manager.get_device_ids(ids, exact - 1, serials, sizeof serials), 8);
    module.state->get_device_ids_status = 1;
    EXPECT_EQ(manager.get_device_ids(ids, sizeof ids, serials, sizeof serials), 8);
}

TEST(device_module_manager, routing_codes_and_the_set_asymmetry) {
    loaded_module module(QX_TEST_MODULE_DIR, "quendral_vko_ralto_camera_device");
    module.state->add_camera("a", "S1");
    Device_module_manager manager;
    manager.Process_device_module(nullptr, "quendral_vko_ralto_camera_device.dll");
    auto device = manager.create_device("QUENDRAL_VKO_RALTO_CAMERA_DEVICE", "a");
    ASSERT_TRUE(device.has_value());
    char reply[64];
    module.state->set_reply("bad", "", 3);
    EXPECT_EQ(device->get_data("bad", 4, nullptr, 0, reply, sizeof reply), 6);
    // A refused set is reported as a failed get (6), not 7: callers test for zero.
    EXPECT_EQ(device->set_data("bad", 4, nullptr, 0, reply, sizeof reply), 6);
    EXPECT_EQ(device->get_data("fine", 5, nullptr, 0, reply, sizeof reply), 0);
    EXPECT_EQ(manager.get_module_data("NO SUCH MODULE", "version", reply, 0), 6);
    EXPECT_EQ(manager.set_module_data("NO SUCH MODULE", "x", reply, 0), 7);
    module.state->module_data["version"] = "9.9";
    EXPECT_EQ(manager.get_module_data("QUENDRAL_VKO_RALTO_CAMERA_DEVICE", "version", reply, 0), 0);
    EXPECT_STREQ(reply, "9.9");
    EXPECT_EQ(device->destroy_device(), 0);
    try {
        qx::kit::device_handle_class refused(nullptr, nullptr);
        ADD_FAILURE() << "a null device was accepted";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Pointer is unexpectedly nullptr: Device handle cannot be null.");
    }
}

}  // namespace
