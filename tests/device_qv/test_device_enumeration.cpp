// Finding the family's cameras: the path filter, the listing with ids and
// serial numbers, and the map from camera id to device path.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "device_qv/entry_points/module_entry_points.h"
#include "device_qv/module_state_class.h"
#include "support/emulated_camera_fixture.h"
#include "usb/device_enumerator_class.h"

namespace {

using qx::usb::device_enumerator_class;
using qx::usb::usb_identity_filter;

// The module's own identity of the family.
usb_identity_filter family_filter() {
    usb_identity_filter filter;
    filter.vendor_id = qx::device_qv::qv_vendor_id;
    std::copy(std::begin(qx::device_qv::qv_product_ids), std::end(qx::device_qv::qv_product_ids),
              filter.product_ids.begin());
    return filter;
}

std::string path_at(const device_enumerator_class& enumerator, int index) {
    char path[256] = {};
    if (enumerator.get_device_path(index, path, sizeof path) == 0)
        return "<none>";
    return path;
}

TEST(device_enumeration, keeps_the_first_eight_of_the_family_and_stores_their_paths_upper_case) {
    std::vector<std::string> candidates = {
        "USB:BUS_001:PORT_1:VID_2A7C&PID_6118",  // not a product of the family
        "USB:BUS_001:PORT_2:VID_1234&PID_6101",  // another vendor
        "USB:BUS_001:PORT_3:NO_IDS_HERE",        // no ids at all
        "USB:BUS_001:PORT_5:VID_2A7C",           // no product id
        "usb:bus_002:port_4:vid_2a7c&pid_611e",  // lower case: found and stored upper case
        "\\\\?\\usb#vid_2a7c&pid_6210#5&1a2b3c#{guid}",
    };
    for (int port = 1; port <= 7; ++port)
        candidates.push_back("USB:BUS_003:PORT_" + std::to_string(port) + ":VID_2A7C&PID_6101");
    device_enumerator_class enumerator;
    enumerator.filter_candidates(candidates, family_filter());
    ASSERT_EQ(enumerator.count(), 8);
    EXPECT_EQ(path_at(enumerator, 0), "USB:BUS_002:PORT_4:VID_2A7C&PID_611E");
    EXPECT_EQ(path_at(enumerator, 1), "\\\\?\\USB#VID_2A7C&PID_6210#5&1A2B3C#{GUID}");
    EXPECT_EQ(path_at(enumerator, 7), "USB:BUS_003:PORT_6:VID_2A7C&PID_6101");
    EXPECT_EQ(path_at(enumerator, 8), "<none>");
}

TEST(device_enumeration, path_fetch_is_bounded_and_padded) {
    device_enumerator_class enumerator;
    enumerator.filter_candidates({"USB:BUS_001:PORT_1:VID_2A7C&PID_6101"}, family_filter());
    char small[8];
    std::memset(small, '#', sizeof small);
    EXPECT_EQ(enumerator.get_device_path(0, small, sizeof small), 1);
    EXPECT_EQ(std::string(small, sizeof small), "USB:BUS_");
    char padded[64];
    std::memset(padded, '#', sizeof padded);
    EXPECT_EQ(enumerator.get_device_path(0, padded, sizeof padded), 1);
    EXPECT_EQ(padded[63], '\0');
    EXPECT_EQ(enumerator.get_device_path(-1, padded, sizeof padded), 0);
    EXPECT_EQ(enumerator.get_device_path(1, padded, sizeof padded), 0);
}

class module_listing : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(qx_module_initialize(nullptr), 0); }
    void TearDown() override { qx_module_uninitialize(); }

    // Runs get_device_ids with a serial-number buffer the module does not clear.
    void list(std::string& ids, std::string& serials) {
        std::vector<char> id_buffer(2048, '#');
        std::vector<char> serial_buffer(2048, '\0');
        ASSERT_EQ(get_device_ids(id_buffer.data(), 2048, serial_buffer.data(), 2048), 0);
        ids = id_buffer.data();
        serials = serial_buffer.data();
    }
};

std::string cameras_json(int count, const std::string& first_extra = "") {
    std::string cameras;
    for (int index = 1; index <= count; ++index) {
        cameras += std::string(index > 1 ? "," : "") +
                   qx::test::small_camera_json("ID-" + std::to_string(index), "SER-" + std::to_string(index),
                                               index == 1 ? first_extra : "");
    }
    return R"({"cameras":[)" + cameras + "]}";
}

TEST_F(module_listing, lists_ids_with_a_final_full_stop_and_serials_with_commas) {
    const struct {
        const char* name;
        std::string configuration;
        const char* ids;
        const char* serials;
    } rows[] = {
        {"no camera", "0", ".", ""},
        {"two cameras", cameras_json(2), "ID-1,ID-2,.", "SER-1,SER-2,"},
        {"a blank id is left out", cameras_json(2, R"("replies":{"id":"  "})"), "ID-2,.", "SER-2,"},
        {"the ninth is not listed", cameras_json(9), "ID-1,ID-2,ID-3,ID-4,ID-5,ID-6,ID-7,ID-8,.",
         "SER-1,SER-2,SER-3,SER-4,SER-5,SER-6,SER-7,SER-8,"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        qx::test::configure_emulator(row.configuration);
        std::string ids, serials;
        list(ids, serials);
        EXPECT_EQ(ids, row.ids);
        EXPECT_EQ(serials, row.serials);
    }
}

TEST_F(module_listing, create_needs_a_listed_id_and_follows_a_camera_to_its_new_port) {
    qx::test::configure_emulator(R"({"cameras":[)" + qx::test::small_camera_json("ID-MOVE", "SER-M") + "]}");
    void* device = reinterpret_cast<void*>(1);
    EXPECT_EQ(create("ID-NEVER-LISTED", &device), 1);
    EXPECT_EQ(device, nullptr);

    std::string ids, serials;
    list(ids, serials);
    const std::string old_path = qx::test::emulated_path();
    char new_path[256] = {};
    ASSERT_EQ(qx_emu_move_camera(old_path.c_str(), 7, new_path, sizeof new_path), QX_EMU_OK);
    ASSERT_NE(std::string(new_path), old_path);

    // Before listing again, the id still maps to the old, now empty port.
    EXPECT_EQ(create("ID-MOVE", &device), 1);
    list(ids, serials);
    ASSERT_EQ(create("ID-MOVE", &device), 0);
    ASSERT_NE(device, nullptr);
    char reply[64] = {};
    EXPECT_EQ(get_data__returns_zero_for_success(device, "sernum", 7, nullptr, 0, reply, sizeof reply), 0);
    EXPECT_STREQ(reply, "SER-M");
    EXPECT_EQ(destroy(device), 0);
}

// Neither list is written past its size; a list that does not fit with its
// NUL fails the call and leaves no partial list behind.
TEST_F(module_listing, lists_stay_within_the_sizes_given) {
    qx::test::configure_emulator(
        R"({"cameras":[)" + qx::test::small_camera_json("ID-LONG-0001", "SERIAL-NUMBER-0000000000000001") +
        "]}");
    const struct {
        int ids_size;
        int serials_size;
        int status;
    } cases[] = {{64, 64, 0}, {64, 8, 1}, {8, 64, 1}, {15, 32, 0}, {14, 32, 1}, {15, 31, 1}};
    for (const auto& entry : cases) {
        // Heap buffers of exactly the sizes given, so a write past them is caught.
        std::vector<char> ids(static_cast<std::size_t>(entry.ids_size), '#');
        std::vector<char> serials(static_cast<std::size_t>(entry.serials_size), '#');
        EXPECT_EQ(get_device_ids(ids.data(), entry.ids_size, serials.data(), entry.serials_size),
                  entry.status)
            << entry.ids_size << " " << entry.serials_size;
        if (entry.status == 0) {
            EXPECT_STREQ(ids.data(), "ID-LONG-0001,.");
            EXPECT_STREQ(serials.data(), "SERIAL-NUMBER-0000000000000001,");
        } else {
            EXPECT_EQ(serials[0], '#') << "no partial serial list";
        }
    }
}

}  // namespace
