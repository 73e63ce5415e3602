// The device side of a virtual camera: command and reply transfers, time-outs,
// endpoints and stalls, and argument checks at the C boundary.

#include <thread>

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

TEST(virtual_camera_class, a_reply_is_read_once_cut_to_the_reader_and_replaced_by_the_next_command) {
    const emulated_camera camera(small_camera_json());
    char reply[QX_EMU_REPLY_SIZE];
    std::size_t transferred = 99;
    EXPECT_EQ(qx_emu_device_read(camera.device, reply, sizeof reply, &transferred, 5), QX_EMU_TIMEOUT);
    EXPECT_EQ(transferred, 0u);
    EXPECT_EQ(std::string(qx_emu_get_last_error()), "nothing arrived within the time-out");
    EXPECT_EQ(camera.command("exp"), "10000");
    EXPECT_EQ(qx_emu_device_read(camera.device, reply, sizeof reply, &transferred, 5), QX_EMU_TIMEOUT);
    ASSERT_EQ(qx_emu_device_write(camera.device, "sernum", 7, 10), QX_EMU_OK);
    ASSERT_EQ(qx_emu_device_write(camera.device, "exp", 4, 10), QX_EMU_OK);
    ASSERT_EQ(qx_emu_device_read(camera.device, reply, 4, &transferred, 10), QX_EMU_OK);
    EXPECT_EQ(std::string(reply, transferred), "1000");
}

// The read and the write race: whichever comes first, the read gets the
// reply (a waiting read is woken, a later one finds it).
TEST(virtual_camera_class, a_read_gets_the_reply_of_a_write_from_another_thread) {
    const emulated_camera camera(small_camera_json());
    for (int round = 0; round < 20; ++round) {
        std::thread writer([&] { EXPECT_EQ(qx_emu_device_write(camera.device, "exp", 4, 10), QX_EMU_OK); });
        char reply[QX_EMU_REPLY_SIZE] = {};
        std::size_t transferred = 0;
        EXPECT_EQ(qx_emu_device_read(camera.device, reply, sizeof reply, &transferred, 5000), QX_EMU_OK);
        writer.join();
        EXPECT_STREQ(reply, "10000");
    }
}

TEST(virtual_camera_class, endpoints_and_port_reset) {
    const emulated_camera camera(
        small_camera_json(R"("faults":{"stall_image":{"packet":0},"stall_command":{"commands":[0]}})"));
    EXPECT_EQ(camera.command("start"), "<status -2>");
    EXPECT_EQ(read_packet(camera.device).status, QX_EMU_TIMEOUT) << "the start never arrived";
    for (const unsigned char endpoint : {QX_EMU_ENDPOINT_COMMAND_OUT, QX_EMU_ENDPOINT_COMMAND_IN}) {
        int stalled = -1;
        ASSERT_EQ(qx_emu_device_get_endpoint_stalled(camera.device, endpoint, &stalled), QX_EMU_OK);
        EXPECT_EQ(stalled, endpoint == QX_EMU_ENDPOINT_COMMAND_OUT ? 1 : 0);
    }
    ASSERT_EQ(qx_emu_device_reset_port(camera.device), QX_EMU_OK);
    EXPECT_EQ(camera.command("start"), "Success");
    EXPECT_EQ(read_packet(camera.device).status, QX_EMU_STALL);
    ASSERT_EQ(qx_emu_device_reset_port(camera.device), QX_EMU_OK);
    EXPECT_EQ(read_packet(camera.device).header(), 0x9090u) << "the camera kept streaming through the reset";
    int stalled = 0;
    EXPECT_EQ(qx_emu_device_get_endpoint_stalled(camera.device, 0x81, &stalled), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_clear_stall(camera.device, 0x04), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()),
              "endpoint 4 does not exist (the endpoints are 0x02, 0x82 and 0x83)");
}

TEST(virtual_camera_class, arguments_are_checked_at_the_boundary) {
    const emulated_camera camera(small_camera_json());
    char buffer[QX_EMU_PACKET_SIZE];
    std::size_t transferred = 0;
    EXPECT_EQ(qx_emu_device_write(nullptr, "id", 3, 10), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()), "device is null");
    EXPECT_EQ(qx_emu_device_write(camera.device, nullptr, 3, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_write(camera.device, buffer, QX_EMU_PACKET_SIZE + 1, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_read(camera.device, nullptr, 10, &transferred, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_read(camera.device, buffer, 10, nullptr, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_read_packet(camera.device, nullptr, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_get_ids(camera.device, nullptr, nullptr), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_get_endpoint_stalled(camera.device, QX_EMU_ENDPOINT_IMAGE_IN, nullptr),
              QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_device_open(nullptr), nullptr);
    EXPECT_EQ(qx_emu_get_counters(camera.path.c_str(), nullptr), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_unplug_camera(nullptr), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_pulse_hardware_trigger("EMU:BUS_000:PORT_42:VID_2A7C&PID_6101"), QX_EMU_NO_DEVICE);
    qx_emu_device_close(nullptr);
    // The last error belongs to the thread that failed.
    std::string other_thread_error = "unset";
    std::thread([&] { other_thread_error = qx_emu_get_last_error(); }).join();
    EXPECT_EQ(other_thread_error, "");
}

}  // namespace
}  // namespace qx::emulator::testing
