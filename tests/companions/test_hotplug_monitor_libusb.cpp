// The hot-plug monitor's libusb path with simulated USB devices: umockdev
// builds a sysfs tree and sends the kernel's uevents, and libusb (with
// umockdev's preload library linked into this program) sees them as real
// devices arriving and leaving.

#include <gtest/gtest.h>
#include <umockdev.h>

#include <array>
#include <cstdint>
#include <string>

#include "hotplug_test_support.h"

namespace {

using qx::test::hotplug_recorder;

class simulated_usb_bus {
  public:
    simulated_usb_bus() : testbed_(umockdev_testbed_new()) {}
    ~simulated_usb_bus() { g_object_unref(testbed_); }
    simulated_usb_bus(const simulated_usb_bus&) = delete;
    simulated_usb_bus& operator=(const simulated_usb_bus&) = delete;

    // Adds a device named like the kernel names it ("3-1.4": bus 3, port 1,
    // then port 4) and returns its sysfs path.
    std::string add_device(const char* name, int bus, int address, std::uint16_t vendor_id,
                           std::uint16_t product_id) {
        const std::string bus_text = std::to_string(bus) + "\n";
        const std::string address_text = std::to_string(address) + "\n";
        char device_node[64];
        std::snprintf(device_node, sizeof device_node, "/dev/bus/usb/%03d/%03d", bus, address);
        gchar* created =
            umockdev_testbed_add_device(testbed_, "usb", name, nullptr, "busnum", bus_text.c_str(), "devnum",
                                        address_text.c_str(), "speed", "5000\n", "bConfigurationValue", "1\n",
                                        nullptr, "DEVTYPE", "usb_device", "DEVNAME", device_node, nullptr);
        const std::string path = created;
        g_free(created);
        // A device descriptor and an empty configuration, as the kernel
        // exposes them in the "descriptors" attribute.
        std::array<guint8, 27> descriptors{0x12, 0x01, 0x10, 0x03, 0x00, 0x00, 0x00, 0x09, 0x00,
                                           0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x02, 0x03, 0x01,
                                           0x09, 0x02, 0x09, 0x00, 0x00, 0x01, 0x00, 0x80, 0x32};
        descriptors[8] = static_cast<guint8>(vendor_id & 0xFF);
        descriptors[9] = static_cast<guint8>(vendor_id >> 8);
        descriptors[10] = static_cast<guint8>(product_id & 0xFF);
        descriptors[11] = static_cast<guint8>(product_id >> 8);
        umockdev_testbed_set_attribute_binary(testbed_, path.c_str(), "descriptors", descriptors.data(),
                                              descriptors.size());
        return path;
    }
    void plug(const std::string& path) { umockdev_testbed_uevent(testbed_, path.c_str(), "add"); }
    void unplug(const std::string& path) {
        umockdev_testbed_uevent(testbed_, path.c_str(), "remove");
        umockdev_testbed_remove_device(testbed_, path.c_str());
    }

  private:
    UMockdevTestbed* testbed_;
};

class hotplug_monitor_libusb_test : public testing::Test {
  protected:
    void SetUp() override {
        // The hub is there before the monitor starts, as at boot.
        bus.plug(bus.add_device("3-1", 3, 2, 0x05E3, 0x0626));
    }

    simulated_usb_bus bus;
    // Declared before the monitor so that they outlive its last close.
    hotplug_recorder subscriber;
    hotplug_recorder other_subscriber;
    qx::test::hotplug_monitor_library monitor;
};

TEST_F(hotplug_monitor_libusb_test, reports_a_usb_device_by_bus_and_port_chain_on_arrival_and_departure) {
    ASSERT_EQ(monitor.open_monitor(), 0);
    ASSERT_EQ(monitor.subscribe(0x2A7C, 0x6101, hotplug_recorder::on_monitor_event, &subscriber), 0);
    ASSERT_EQ(monitor.subscribe(0x2A7C, 0x6117, hotplug_recorder::on_monitor_event, &other_subscriber), 0);

    const std::string device = bus.add_device("3-1.4", 3, 5, 0x2A7C, 0x6101);
    bus.plug(device);
    ASSERT_TRUE(subscriber.wait_for(1)) << "no arrival reported";
    bus.unplug(device);
    ASSERT_TRUE(subscriber.wait_for(2));
    const std::string path = "USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101";
    EXPECT_EQ(subscriber.take_events(), (std::vector<std::string>{"arrival " + path, "departure " + path}));
    // Events are delivered in order, so anything for the other product
    // would have come before the departure.
    EXPECT_TRUE(other_subscriber.take_events().empty());
}

TEST_F(hotplug_monitor_libusb_test, nothing_is_reported_after_the_last_close) {
    ASSERT_EQ(monitor.open_monitor(), 0);
    ASSERT_EQ(monitor.subscribe(0x2A7C, 0x6101, hotplug_recorder::on_monitor_event, &subscriber), 0);
    ASSERT_EQ(monitor.close_monitor(), 0);
    ASSERT_EQ(monitor.open_monitor(), 0);
    ASSERT_EQ(monitor.subscribe(0x2A7C, 0x6210, hotplug_recorder::on_monitor_event, &other_subscriber), 0);
    const std::string first = bus.add_device("3-1.2", 3, 6, 0x2A7C, 0x6101);
    const std::string second = bus.add_device("3-1.3", 3, 7, 0x2A7C, 0x6210);
    bus.plug(first);
    bus.plug(second);
    ASSERT_TRUE(other_subscriber.wait_for(1));
    EXPECT_EQ(other_subscriber.take_events(),
              std::vector<std::string>{"arrival USB:BUS_003:PORT_1.3:VID_2A7C&PID_6210"});
    EXPECT_TRUE(subscriber.take_events().empty()) << "its subscription ended with the last close";
}

}  // namespace
