#include "usb/umockdev_fx3_camera_class.h"

#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>

namespace qx::test {

namespace {

constexpr const char* camera_node = "/dev/bus/usb/003/003";
// The name the kernel driver bound to the camera's interface reports.
constexpr const char* kernel_driver_name = "fx3_camera";
constexpr unsigned int camera_interface = 0;
const int image_in_index = camera_endpoint_index(QX_EMU_ENDPOINT_IMAGE_IN);
// What a current kernel's usbfs offers on an xHCI port.
constexpr std::uint32_t usbfs_capabilities = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                             USBDEVFS_CAP_NO_PACKET_SIZE_LIM |
                                             USBDEVFS_CAP_REAP_AFTER_DISCONNECT;

// Descriptors as the kernel exposes them in the "descriptors" attribute:
// the device descriptor, then the configuration with its interface and
// endpoints (each SuperSpeed endpoint followed by its companion).
#define QX_DEVICE_DESCRIPTOR(vendor_low, vendor_high, product_low, product_high, device_class)    \
    0x12, 0x01, 0x00, 0x03, device_class, 0x00, 0x03, 0x09, vendor_low, vendor_high, product_low, \
        product_high, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01
#define QX_BULK_ENDPOINT(address) \
    0x07, 0x05, address, 0x02, 0x00, 0x04, 0x00, 0x06, 0x30, 0x0F, 0x00, 0x00, 0x00

// A hub's configuration: one interface of class 9 with its interrupt endpoint.
#define QX_HUB_CONFIGURATION                                                                              \
    0x09, 0x02, 0x1F, 0x00, 0x01, 0x01, 0x00, 0xE0, 0x00, 0x09, 0x04, 0x00, 0x00, 0x01, 0x09, 0x00, 0x00, \
        0x00, 0x07, 0x05, 0x81, 0x03, 0x04, 0x00, 0x0C, 0x06, 0x30, 0x00, 0x00, 0x02, 0x00

// clang-format off
constexpr unsigned char root_hub_descriptors[] = {QX_DEVICE_DESCRIPTOR(0x6B, 0x1D, 0x03, 0x00, 0x09),
                                                  QX_HUB_CONFIGURATION};
constexpr unsigned char hub_descriptors[] = {QX_DEVICE_DESCRIPTOR(0xE3, 0x05, 0x26, 0x06, 0x09), QX_HUB_CONFIGURATION};
// The camera: interface 0, vendor class, bulk endpoints 0x02, 0x82, 0x83.
constexpr unsigned char camera_descriptors[] = {
    QX_DEVICE_DESCRIPTOR(0x7C, 0x2A, 0x01, 0x61, 0x00),
    0x09, 0x02, 0x39, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32,
    0x09, 0x04, 0x00, 0x00, 0x03, 0xFF, 0x00, 0x00, 0x00,
    QX_BULK_ENDPOINT(0x02), QX_BULK_ENDPOINT(0x82), QX_BULK_ENDPOINT(0x83)};
// clang-format on
#undef QX_HUB_CONFIGURATION
#undef QX_BULK_ENDPOINT
#undef QX_DEVICE_DESCRIPTOR

// The devices of the bus: root hub 3, a hub on its port 1, the camera on the
// hub's port 4 (the kernel names them "usb3", "3-1" and "3-1.4").
struct bus_device {
    const char* sysfs_path;
    int address;
    std::span<const unsigned char> descriptors;
};
constexpr bus_device bus_devices[] = {
    {"/devices/pci0000:00/0000:00:14.0/usb3", 1, root_hub_descriptors},
    {"/devices/pci0000:00/0000:00:14.0/usb3/3-1", 2, hub_descriptors},
    {"/devices/pci0000:00/0000:00:14.0/usb3/3-1/3-1.4", 3, camera_descriptors},
};

// The bus in umockdev's description format. Only the camera's node gets the
// ioctl handler; the hubs' nodes are plain files.
std::string bus_description(const std::string& camera_speed) {
    std::string text;
    for (const auto& device : bus_devices) {
        char node[32];
        std::snprintf(node, sizeof node, "bus/usb/003/%03d", device.address);
        const bool camera = device.address == 3;
        text += std::string("P: ") + device.sysfs_path + "\nN: " + node +
                "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n";
        text += std::string("E: DEVNAME=/dev/") + node + "\nE: BUSNUM=003\nE: DEVNUM=" + (node + 12) + "\n";
        text += "A: busnum=3\nA: devnum=" + std::to_string(device.address) + "\nA: bConfigurationValue=1\n";
        text += "A: speed=" + (camera ? camera_speed : std::string("5000")) + "\nH: descriptors=";
        for (const unsigned char byte : device.descriptors) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02X", byte);
            text += hex;
        }
        text += "\n\n";
    }
    return text;
}

[[noreturn]] void throw_glib_error(const char* what, GError* error) {
    const std::string text = std::string(what) + ": " + (error != nullptr ? error->message : "unknown error");
    g_clear_error(&error);
    throw std::runtime_error(text);
}

// The status a URB ends with after a transfer with this emulator status.
int urb_status_of(int emulator_status) {
    return emulator_status == QX_EMU_OK ? 0 : emulator_status == QX_EMU_STALL ? -EPIPE : -EPROTO;
}

usbdevfs_urb& urb_of(UMockdevIoctlData* data) {
    return *reinterpret_cast<usbdevfs_urb*>(data->data);
}

// Resolves the memory a pointer at `offset` of `data` points to; null when
// the client's memory cannot be read.
UMockdevIoctlData* resolve(UMockdevIoctlData* data, std::size_t offset, std::size_t length) {
    GError* error = nullptr;
    UMockdevIoctlData* resolved = umockdev_ioctl_data_resolve(data, offset, length, &error);
    g_clear_error(&error);
    return resolved;
}

// Reads a small argument structure, lets `use` work on it, and syncs it back.
template <class argument_type, class use_type>
auto with_argument(UMockdevIoctlData* arg, use_type&& use) {
    UMockdevIoctlData* resolved = resolve(arg, 0, sizeof(argument_type));
    if (resolved == nullptr)
        return decltype(use(std::declval<argument_type&>())){-1, EFAULT};
    auto reply = use(*reinterpret_cast<argument_type*>(resolved->data));
    g_object_unref(resolved);
    return reply;
}

}  // namespace

umockdev_fx3_camera_class::umockdev_fx3_camera_class(const settings& chosen_settings)
    : chosen(chosen_settings) {
    char path[256] = {};
    if (qx_emu_plug_camera(chosen.camera_json.c_str(), path, sizeof path) != QX_EMU_OK) {
        throw std::runtime_error(std::string("the emulator refused the camera: ") + qx_emu_get_last_error());
    }
    camera_path = path;
    try {
        device = qx_emu_device_open(camera_path.c_str());
        if (device == nullptr)
            throw std::runtime_error(std::string("qx_emu_device_open: ") + qx_emu_get_last_error());
        for (std::size_t index = 0; index < camera_endpoint_count; ++index) {
            endpoints[index] = std::make_unique<endpoint_worker<urb_record>>(
                state_lock, device, camera_endpoints[index], true,
                [this](urb_record& record, const endpoint_transfer& done) {
                    if (done.status != QX_EMU_NO_DEVICE) {
                        finish(record, urb_status_of(done.status), static_cast<int>(done.bytes));
                    } else {
                        finish(record, -ESHUTDOWN, 0);
                        mark_unplugged();
                    }
                });
        }
        build_testbed();
    } catch (...) {
        tear_down();
        throw;
    }
}

umockdev_fx3_camera_class::~umockdev_fx3_camera_class() {
    tear_down();
}

void umockdev_fx3_camera_class::tear_down() {
    {
        // From here on every request answers ENODEV.
        std::lock_guard<std::mutex> guard(state_lock);
        stopping = true;
        for (auto& endpoint : endpoints) {
            if (endpoint == nullptr)
                continue;
            for (auto& record : endpoint->take_all()) release(record);
        }
        for (auto& record : finished) release(record);
        finished.clear();
    }
    for (auto& endpoint : endpoints) endpoint.reset();
    if (testbed != nullptr) {
        umockdev_testbed_detach_ioctl(testbed, camera_node, nullptr);
        g_object_unref(testbed);
        testbed = nullptr;
    }
    if (handler != nullptr) {
        g_object_unref(handler);
        handler = nullptr;
    }
    qx_emu_device_close(device);
    device = nullptr;
    qx_emu_unplug_camera(camera_path.c_str());  // fails harmlessly when already unplugged
}

bool umockdev_fx3_camera_class::in_mock_environment() {
    return umockdev_in_mock_environment();
}

void umockdev_fx3_camera_class::build_testbed() {
    testbed = umockdev_testbed_new();
    handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(&umockdev_fx3_camera_class::on_handle_ioctl), this);
    GError* error = nullptr;
    // The handler comes first, so that the node never exists without it.
    if (!umockdev_testbed_attach_ioctl(testbed, camera_node, handler, &error)) {
        throw_glib_error("umockdev_testbed_attach_ioctl", error);
    }
    const std::string description = bus_description(chosen.speed);
    if (!umockdev_testbed_add_from_string(testbed, description.c_str(), &error)) {
        throw_glib_error("umockdev_testbed_add_from_string", error);
    }
}

void umockdev_fx3_camera_class::release(urb_record& record) {
    if (record.buffer != nullptr)
        g_object_unref(record.buffer);
    if (record.urb != nullptr)
        g_object_unref(record.urb);
    record = {};
}

gboolean umockdev_fx3_camera_class::on_handle_ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client,
                                                    gpointer self_pointer) {
    auto& self = *static_cast<umockdev_fx3_camera_class*>(self_pointer);
    const gulong request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    // Held until the request is completed: completing syncs the URB and its
    // buffer back to the client, which must not overlap the worker filling
    // them.
    std::lock_guard<std::mutex> guard(self.state_lock);
    // After an unplug only the URBs that ended with it can still be reaped.
    const bool reaping = request == USBDEVFS_REAPURBNDELAY;
    const bool gone = self.stopping || (self.unplugged && !reaping);
    const answer reply = gone ? answer{-1, ENODEV} : self.serve_request(client, request, arg);
    if (!reply.completed)
        umockdev_ioctl_client_complete(client, reply.result, reply.error);
    return TRUE;
}

void umockdev_fx3_camera_class::finish(urb_record record, int status, int actual_length) {
    usbdevfs_urb& urb = urb_of(record.urb);
    urb.status = status;
    urb.actual_length = actual_length;
    finished.push_back(record);
    state_changed.notify_all();
}

void umockdev_fx3_camera_class::end_pending_urbs(int status) {
    for (auto& endpoint : endpoints) {
        for (auto& record : endpoint->take_all()) finish(record, status, 0);
    }
}

void umockdev_fx3_camera_class::mark_unplugged() {
    unplugged = true;
    end_pending_urbs(-ESHUTDOWN);
}

void umockdev_fx3_camera_class::unplug() {
    qx_emu_unplug_camera(camera_path.c_str());
    std::lock_guard<std::mutex> guard(state_lock);
    mark_unplugged();
}

umockdev_fx3_camera_class::counts umockdev_fx3_camera_class::get_counts() const {
    std::lock_guard<std::mutex> guard(state_lock);
    counts now = seen;
    now.interface_claimed = interface_claimed;
    now.image_urbs_in_flight = static_cast<int>(endpoints[image_in_index]->held());
    return now;
}

bool umockdev_fx3_camera_class::wait_for_image_urbs_in_flight(int wanted, int limit_ms) const {
    std::unique_lock<std::mutex> guard(state_lock);
    return state_changed.wait_for(guard, std::chrono::milliseconds(limit_ms), [&] {
        return static_cast<int>(endpoints[image_in_index]->held()) == wanted;
    });
}

umockdev_fx3_camera_class::answer umockdev_fx3_camera_class::control_request(const usb_ctrlrequest& setup,
                                                                             unsigned char* data,
                                                                             int data_length) {
    // GET_STATUS of an endpoint; bit 0 of the answer is its halt.
    if (setup.bRequestType == 0x82 && setup.bRequest == USB_REQ_GET_STATUS && setup.wValue == 0 &&
        setup.wLength >= 2 && data_length >= 2) {
        int stalled = 0;
        const int status =
            qx_emu_device_get_endpoint_stalled(device, static_cast<unsigned char>(setup.wIndex), &stalled);
        if (status == QX_EMU_NO_DEVICE) {
            mark_unplugged();
            return {-1, ENODEV};
        }
        if (status != QX_EMU_OK)
            return {-1, EPIPE};
        data[0] = stalled != 0 ? 1 : 0;
        data[1] = 0;
        return {2, 0};
    }
    // A device stalls the requests it does not know.
    return {-1, EPIPE};
}

umockdev_fx3_camera_class::answer umockdev_fx3_camera_class::serve_request(UMockdevIoctlClient* client,
                                                                           gulong request,
                                                                           UMockdevIoctlData* arg) {
    switch (request) {
        case USBDEVFS_SUBMITURB:
            return submit_urb(client, arg);
        case USBDEVFS_DISCARDURB:
            return discard_urb(client, arg);
        case USBDEVFS_REAPURBNDELAY:
            return reap_urb(client, arg);
        case USBDEVFS_GET_CAPABILITIES:
            return with_argument<std::uint32_t>(arg, [](std::uint32_t& capabilities) {
                capabilities = usbfs_capabilities;
                return answer{0, 0};
            });
        case USBDEVFS_GETDRIVER:
            return with_argument<usbdevfs_getdriver>(arg, [&](usbdevfs_getdriver& query) {
                if (query.interface != camera_interface)
                    return answer{-1, EINVAL};
                const char* name = interface_claimed     ? "usbfs"
                                   : kernel_driver_bound ? kernel_driver_name
                                                         : nullptr;
                if (name == nullptr)
                    return answer{-1, ENODATA};
                std::strncpy(query.driver, name, sizeof query.driver - 1);
                return answer{0, 0};
            });
        case USBDEVFS_IOCTL:
            // Of the driver requests only the kernel driver's detaching.
            return with_argument<usbdevfs_ioctl>(arg, [&](usbdevfs_ioctl& command) {
                if (command.ifno != static_cast<int>(camera_interface))
                    return answer{-1, EINVAL};
                if (command.ioctl_code != static_cast<int>(USBDEVFS_DISCONNECT))
                    return answer{-1, ENOTTY};
                if (!kernel_driver_bound)
                    return answer{-1, ENODATA};
                kernel_driver_bound = false;
                ++seen.kernel_driver_detaches;
                return answer{0, 0};
            });
        case USBDEVFS_CLAIMINTERFACE:
            return with_argument<unsigned int>(arg, [&](unsigned int& interface_number) {
                if (interface_number != camera_interface)
                    return answer{-1, EINVAL};
                if (kernel_driver_bound)
                    return answer{-1, EBUSY};
                interface_claimed = true;
                return answer{0, 0};
            });
        case USBDEVFS_RELEASEINTERFACE:
            return with_argument<unsigned int>(arg, [&](unsigned int& interface_number) {
                if (interface_number != camera_interface || !interface_claimed)
                    return answer{-1, EINVAL};
                interface_claimed = false;
                // The kernel kills the interface's URBs; they are reaped as ended.
                end_pending_urbs(-ENOENT);
                return answer{0, 0};
            });
        case USBDEVFS_CLEAR_HALT:
            return with_argument<unsigned int>(arg, [&](unsigned int& endpoint) {
                if (qx_emu_device_clear_stall(device, static_cast<unsigned char>(endpoint)) != QX_EMU_OK)
                    return answer{-1, ENOENT};
                if (const int index = camera_endpoint_index(endpoint); index >= 0)
                    endpoints[static_cast<std::size_t>(index)]->release_halt();
                ++seen.clear_halts;
                return answer{0, 0};
            });
        case USBDEVFS_RESET:
            if (qx_emu_device_reset_port(device) != QX_EMU_OK)
                return {-1, EIO};
            for (auto& endpoint : endpoints) endpoint->release_halt();
            end_pending_urbs(-ESHUTDOWN);
            ++seen.resets;
            return {0, 0};
        default:
            // libusb asks for more (connection details, ...); it copes with a refusal.
            return {-1, ENOTTY};
    }
}

umockdev_fx3_camera_class::answer umockdev_fx3_camera_class::submit_urb(UMockdevIoctlClient* client,
                                                                        UMockdevIoctlData* arg) {
    urb_record record{client, resolve(arg, 0, sizeof(usbdevfs_urb)), nullptr, 0};
    if (record.urb == nullptr)
        return {-1, EFAULT};
    record.client_address = record.urb->client_addr;
    usbdevfs_urb& urb = urb_of(record.urb);
    if (urb.buffer_length > 0) {
        record.buffer =
            resolve(record.urb, offsetof(usbdevfs_urb, buffer), static_cast<std::size_t>(urb.buffer_length));
        if (record.buffer == nullptr) {
            release(record);
            return {-1, EFAULT};
        }
    }
    unsigned char* buffer = record.buffer != nullptr ? record.buffer->data : nullptr;
    const int length = urb.buffer_length;
    record.data = buffer;
    record.length = static_cast<std::size_t>(std::max(length, 0));
    urb.status = 0;
    urb.actual_length = 0;

    answer refusal{0, 0};
    if (urb.type == USBDEVFS_URB_TYPE_CONTROL) {
        if (urb.endpoint != 0 || length < static_cast<int>(sizeof(usb_ctrlrequest))) {
            refusal = {-1, EINVAL};
        } else {
            usb_ctrlrequest setup;
            std::memcpy(&setup, buffer, sizeof setup);
            const answer reply =
                control_request(setup, buffer + sizeof setup, length - static_cast<int>(sizeof setup));
            if (reply.error == ENODEV) {
                refusal = reply;
            } else {
                finish(record, reply.result < 0 ? -reply.error : 0,
                       std::max<int>(static_cast<int>(reply.result), 0));
                return {0, 0};
            }
        }
    } else if (urb.type != USBDEVFS_URB_TYPE_BULK) {
        refusal = {-1, EINVAL};
    } else if (!interface_claimed && kernel_driver_bound) {
        // usbfs claims the interface on the first URB, unless a driver holds it.
        refusal = {-1, EBUSY};
    }
    if (refusal.result < 0) {
        release(record);
        return refusal;
    }
    interface_claimed = true;
    const int index = camera_endpoint_index(urb.endpoint);
    if (index < 0) {
        release(record);
        return {-1, ENOENT};
    }
    auto& endpoint = *endpoints[static_cast<std::size_t>(index)];
    if (index == image_in_index) {
        const int in_flight = static_cast<int>(endpoint.held()) + 1;
        if (chosen.image_urb_limit > 0 && in_flight > chosen.image_urb_limit) {
            release(record);
            return {-1, ENOMEM};
        }
        ++seen.submitted_image_urbs;
        seen.most_image_urbs_in_flight = std::max(seen.most_image_urbs_in_flight, in_flight);
    }
    endpoint.submit(record);
    state_changed.notify_all();
    return {0, 0};
}

umockdev_fx3_camera_class::answer umockdev_fx3_camera_class::discard_urb(UMockdevIoctlClient* client,
                                                                         UMockdevIoctlData* arg) {
    // The argument is the URB's address itself.
    gulong address = 0;
    std::memcpy(&address, arg->data,
                std::min<std::size_t>(sizeof address, static_cast<std::size_t>(arg->data_len)));
    for (auto& endpoint : endpoints) {
        auto taken = endpoint->take([&](const urb_record& record) {
            return record.client == client && record.client_address == address;
        });
        if (taken.empty())
            continue;
        ++seen.discarded_urbs;
        finish(taken.front(), -ENOENT, 0);
        return {0, 0};
    }
    // Already finished (or never submitted): nothing to discard.
    return {-1, EINVAL};
}

umockdev_fx3_camera_class::answer umockdev_fx3_camera_class::reap_urb(UMockdevIoctlClient* client,
                                                                      UMockdevIoctlData* arg) {
    urb_record record;
    {
        const auto found = std::find_if(finished.begin(), finished.end(), [&](const urb_record& candidate) {
            return candidate.client == client;
        });
        if (found == finished.end())
            return {-1, unplugged ? ENODEV : EAGAIN};
        record = *found;
        finished.erase(found);
    }
    // The argument points to the client's URB pointer, which is set to the
    // reaped URB; completing the request syncs the URB and its buffer back.
    UMockdevIoctlData* pointer = resolve(arg, 0, sizeof(void*));
    if (pointer == nullptr) {
        release(record);
        return {-1, EFAULT};
    }
    umockdev_ioctl_data_set_ptr(pointer, 0, record.urb);
    umockdev_ioctl_client_complete(client, 0, 0);
    g_object_unref(pointer);
    release(record);
    return {0, 0, true};
}

}  // namespace qx::test
