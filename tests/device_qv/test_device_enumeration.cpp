// Finding the family's cameras: the path filter, the listing with ids and
// serial numbers, and the map from camera id to device path.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "device_qv/entry_points/module_entry_points.h"
#include "support/emulated_camera_fixture.h"
#include "usb/device_enumerator_class.h"

namespace {

using qx::usb::device_enumerator_class;
using qx::usb::usb_identity_filter;

usb_identity_filter family_filter() {
    usb_identity_filter filter;
    filter.vendor_id = 0x2A7C;
    filter.product_ids[0] = 0x6101;
    filter.product_ids[1] = 0x6117;
    filter.product_ids[2] = 0x6210;
    filter.product_ids[3] = 0x611E;
    return filter;
}

std::string path_at(const device_enumerator_class& enumerator, int index) {
    char path[256] = {};
    if (enumerator.get_device_path(index, path, sizeof path) == 0)
        return "<none>";
    return path;
}

TEST(device_enumeration, keeps_the_family_and_at_most_eight) {
    std::vector<std::string> candidates;
    for (int port = 1; port <= 9; ++port) {
        candidates.push_back("USB:BUS_001:PORT_" + std::to_string(port) + ":VID_2A7C&PID_6101");
    }
    device_enumerator_class enumerator;
    enumerator.filter_candidates(candidates, family_filter());
    EXPECT_EQ(enumerator.count(), 8);
    EXPECT_EQ(path_at(enumerator, 7), "USB:BUS_001:PORT_8:VID_2A7C&PID_6101");
    EXPECT_EQ(path_at(enumerator, 8), "<none>");
}

TEST(device_enumeration, filters_by_vendor_and_product_and_reads_lower_case_paths) {
    const std::vector<std::string> candidates = {
        "USB:BUS_001:PORT_1:VID_2A7C&PID_6118",  // not a product of the family
        "USB:BUS_001:PORT_2:VID_1234&PID_6101",  // another vendor
        "USB:BUS_001:PORT_3:NO_IDS_HERE",        // no ids at all
        "usb:bus_002:port_4:vid_2a7c&pid_611e",  // lower case: found and stored upper case
        "\\\\?\\usb#vid_2a7c&pid_6210#5&1a2b3c#{guid}",
        "USB:BUS_001:PORT_5:VID_2A7C",  // no product id
    };
    device_enumerator_class enumerator;
    enumerator.filter_candidates(candidates, family_filter());
    ASSERT_EQ(enumerator.count(), 2);
    EXPECT_EQ(path_at(enumerator, 0), "USB:BUS_002:PORT_4:VID_2A7C&PID_611E");
    EXPECT_EQ(path_at(enumerator, 1), "\\\\?\\USB#VID_2A7C&PID_6210#5&1A2B3C#{GUID}");
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

TEST_F(module_listing, no_camera_lists_a_single_full_stop) {
    qx::test::configure_emulator("0");
    std::string ids, serials;
    list(ids, serials);
    EXPECT_EQ(ids, ".");
    EXPECT_EQ(serials, "");
}

TEST_F(module_listing, lists_ids_with_a_final_full_stop_and_serials_with_commas) {
    qx::test::configure_emulator(R"({"cameras":[)" + qx::test::small_camera_json("ID-A", "SER-A") + "," +
                                 qx::test::small_camera_json("ID-B", "SER-B") + "]}");
    std::string ids, serials;
    list(ids, serials);
    EXPECT_EQ(ids, "ID-A,ID-B,.");
    EXPECT_EQ(serials, "SER-A,SER-B,");
}

TEST_F(module_listing, a_camera_with_a_blank_id_is_left_out_and_the_next_is_listed) {
    qx::test::configure_emulator(R"({"cameras":[)" +
                                 qx::test::small_camera_json("ID-A", "SER-A", R"("replies":{"id":"  "})") +
                                 "," + qx::test::small_camera_json("ID-B", "SER-B") + "]}");
    std::string ids, serials;
    list(ids, serials);
    EXPECT_EQ(ids, "ID-B,.");
    EXPECT_EQ(serials, "SER-B,");
}

TEST_F(module_listing, the_ninth_camera_is_not_listed) {
    std::string cameras;
    for (int index = 1; index <= 9; ++index) {
        if (!cameras.empty())
            cameras += ",";
        cameras += qx::test::small_camera_json("ID-" + std::to_string(index), "SER-" + std::to_string(index));
    }
    qx::test::configure_emulator(R"({"cameras":[)" + cameras + "]}");
    std::string ids, serials;
    list(ids, serials);
    EXPECT_EQ(ids, "ID-1,ID-2,ID-3,ID-4,ID-5,ID-6,ID-7,ID-8,.");
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

}  // namespace

namespace {

// Neither list is written past its size; a list that does not fit with its
// NUL fails the call and leaves no partial list behind.
TEST_F(module_listing, lists_stay_within_the_sizes_given) {
    qx::test::configure_emulator(R"({"cameras":[)" +
                                 qx::test::small_camera_json("ID-LONG-0001", "SERIAL-NUMBER-0000000000000001") +
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
        EXPECT_EQ(get_device_ids(ids.data(), entry.ids_size, serials.data(), entry.serials_size), entry.status)
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
