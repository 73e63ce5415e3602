#pragma once
// A camera of the built-in family on a simulated USB bus, for driving the
// libusb transport through unmodified libusb. umockdev provides the sysfs
// tree (root hub 3, a hub on its port 1, the camera on the hub's port 4) and
// the usbfs device node that libusb opens; this class answers every request
// libusb sends to that node (URB submission, reaping and discarding, control
// requests, halts, resets, interface claims, kernel-driver queries) through a
// virtual camera of the camera emulator:
// - bulk URBs on 0x02, 0x82 and 0x83 wait in per-endpoint queues that an
//   endpoint worker serves through the emulator;
// - GET_STATUS, CLEAR_HALT and RESET reach the emulator's stall and port
//   functions.
// Like the kernel, it completes URBs in order per endpoint, holds an
// endpoint's queue after a stall until its halt is cleared, ends in-flight
// URBs with ESHUTDOWN when the camera is unplugged and answers ENODEV after.
//
// umockdev's preload library must be part of the test program (linked with
// --no-as-needed) and a testbed must exist before libusb is used.
//
// Locks: state_lock guards everything the umockdev thread (requests), the
// endpoint workers and the test thread share. The umockdev thread holds it for a
// whole request, its completion included, since completing writes the URBs
// back to the client.

#include <linux/usb/ch9.h>
#include <umockdev.h>

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "support/emulated_endpoints.h"

namespace qx::test {

class umockdev_fx3_camera_class {
  public:
    struct settings {
        // The emulator's camera object (JSON), e.g. {"serial": "..."}.
        std::string camera_json = "{}";
        // The "speed" attribute of the camera's sysfs node, in Mbit/s.
        std::string speed = "5000";
        // When above 0: a submission on 0x83 beyond this many URBs in flight
        // fails with ENOMEM, as usbfs does when usbfs_memory_mb is used up.
        int image_urb_limit = 0;
    };

    // What the device saw, for the tests to check.
    struct counts {
        int submitted_image_urbs = 0;
        int most_image_urbs_in_flight = 0;
        int discarded_urbs = 0;
        int clear_halts = 0;
        int resets = 0;
        int kernel_driver_detaches = 0;
        int image_urbs_in_flight = 0;
        bool interface_claimed = false;
    };

    // The path enumeration lists the camera under.
    static constexpr const char* usb_path = "USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101";

    // Plugs a camera into the emulator and builds the testbed around it.
    // Throws std::runtime_error when either fails.
    explicit umockdev_fx3_camera_class(const settings& chosen);
    ~umockdev_fx3_camera_class();

    umockdev_fx3_camera_class(const umockdev_fx3_camera_class&) = delete;
    umockdev_fx3_camera_class& operator=(const umockdev_fx3_camera_class&) = delete;

    // Whether umockdev redirects this process's device access (its preload
    // library is loaded and a testbed exists).
    static bool in_mock_environment();

    const std::string& emulator_path() const { return camera_path; }

    // Unplugs the camera: the emulator loses it, the URBs in flight end with
    // ESHUTDOWN and every later request answers ENODEV.
    void unplug();

    counts get_counts() const;

    // Waits (at most `limit_ms`) until this many image URBs are in flight.
    bool wait_for_image_urbs_in_flight(int wanted, int limit_ms) const;

  private:
    // One submitted URB: the client's usbdevfs_urb and its buffer, as
    // umockdev resolved them (each holds one reference).
    struct urb_record {
        UMockdevIoctlClient* client = nullptr;
        UMockdevIoctlData* urb = nullptr;
        UMockdevIoctlData* buffer = nullptr;
        gulong client_address = 0;
        unsigned char* data = nullptr;  // the buffer's bytes
        std::size_t length = 0;
    };
    // What a request is answered with: ioctl's result and errno, unless the
    // handler completed the request itself.
    struct answer {
        long result = 0;
        int error = 0;
        bool completed = false;
    };

    static gboolean on_handle_ioctl(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);

    void build_testbed();
    void tear_down();
    static void release(urb_record& record);
    // The caller of these holds state_lock.
    void finish(urb_record record, int status, int actual_length);
    void end_pending_urbs(int status);
    void mark_unplugged();
    answer control_request(const usb_ctrlrequest& setup, unsigned char* data, int data_length);

    // The requests libusb sends; on_handle_ioctl holds state_lock around each.
    answer serve_request(UMockdevIoctlClient* client, gulong request, UMockdevIoctlData* arg);
    answer submit_urb(UMockdevIoctlClient* client, UMockdevIoctlData* arg);
    answer discard_urb(UMockdevIoctlClient* client, UMockdevIoctlData* arg);
    answer reap_urb(UMockdevIoctlClient* client, UMockdevIoctlData* arg);

    const settings chosen;
    std::string camera_path;
    qx_emu_device* device = nullptr;
    UMockdevTestbed* testbed = nullptr;
    UMockdevIoctlBase* handler = nullptr;

    mutable std::mutex state_lock;
    mutable std::condition_variable state_changed;
    bool stopping = false;            // guarded by state_lock
    bool unplugged = false;           // guarded by state_lock
    bool kernel_driver_bound = true;  // guarded by state_lock: until detached
    bool interface_claimed = false;   // guarded by state_lock
    std::deque<urb_record> finished;  // guarded by state_lock: in completion order
    counts seen;                      // guarded by state_lock
    // By index in camera_endpoints.
    std::array<std::unique_ptr<endpoint_worker<urb_record>>, camera_endpoint_count> endpoints;
};

}  // namespace qx::test
