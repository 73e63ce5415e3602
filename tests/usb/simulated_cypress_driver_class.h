#pragma once
// A simulated Cypress USB driver for the Windows transport: it answers the
// driver calls as the real driver does, with the camera emulator behind
// each device. It lists device interfaces with instance ids and parents,
// checks every request header and control code it is handed, completes
// bulk transfers overlapped (ERROR_IO_PENDING, then the record's event),
// reports endpoint stalls, cancels on abort, clears stalls on reset, and
// fails the requests of a device whose camera has been unplugged.
//
// It installs itself as the process's driver calls for its lifetime.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "quendral_vko_camera_emulator.h"
#include "usb/windows_driver_calls.h"

namespace qx::test {

class simulated_cypress_driver_class final : public qx::usb::windows_driver_calls {
  public:
    simulated_cypress_driver_class();
    ~simulated_cypress_driver_class() override;
    simulated_cypress_driver_class(const simulated_cypress_driver_class&) = delete;
    simulated_cypress_driver_class& operator=(const simulated_cypress_driver_class&) = delete;

    // Lists a device interface; `emulator_path` names the camera behind it
    // (empty: a listed interface that cannot be opened).
    void add_interface(const std::string& interface_path, const std::string& emulator_path = "");
    // The interface path the driver gives a camera: "\\?\usb#vid_2a7c&pid_6101#<serial>#{guid}".
    static std::string interface_path_for(unsigned vendor_id, unsigned product_id, const std::string& serial);

    // Enumeration faults: the class list cannot be had; member `index` fails
    // once with ERROR_GEN_FAILURE; every detail query fails.
    bool refuse_class_list = false;
    int fail_selection_once_at = -1;
    bool fail_detail = false;

    // Requests whose header, sizes or control code the real driver would
    // not accept, one text each.
    std::vector<std::string> violations() const;
    // How often each control code was sent.
    int requests_with(std::uint32_t code) const;
    // Device interface sets handed out and not yet destroyed.
    int open_interface_sets() const;
    // Bulk reads of the image endpoint the driver holds right now.
    int image_reads_held() const;

    HANDLE create_file(const char* path, DWORD access, DWORD share_mode, DWORD creation,
                       DWORD flags) override;
    BOOL close_device(HANDLE device) override;
    BOOL device_io_control(HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) override;
    BOOL get_overlapped_result(HANDLE device, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) override;
    BOOL cancel_io(HANDLE device, OVERLAPPED* overlapped) override;
    HDEVINFO get_class_devs(const GUID* interface_class, DWORD flags) override;
    BOOL enum_device_interfaces(HDEVINFO set, const GUID* interface_class, DWORD member_index,
                                SP_DEVICE_INTERFACE_DATA* interface_data) override;
    BOOL get_device_interface_detail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* interface_data,
                                     SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD detail_size,
                                     DWORD* required_size, SP_DEVINFO_DATA* device) override;
    BOOL get_device_instance_id(HDEVINFO set, SP_DEVINFO_DATA* device, char* id, DWORD id_size) override;
    BOOL destroy_device_info_list(HDEVINFO set) override;
    CONFIGRET get_parent(DEVINST* parent, DEVINST device) override;
    CONFIGRET get_device_id(DEVINST device, char* id, ULONG id_size) override;

  private:
    struct pending_request;
    struct open_device;
    struct interface_entry {
        std::string path;
        std::string emulator_path;
    };
    // A device information set: the interfaces present when it was asked for.
    using interface_set = std::vector<interface_entry>;

    void violation(const std::string& text);
    bool check_bulk_request(std::uint8_t endpoint, const unsigned char* buffer, DWORD size);
    BOOL submit_bulk(open_device& device, void* buffer, DWORD size, OVERLAPPED* overlapped);
    BOOL answer_control(open_device& device, DWORD code, void* input, DWORD input_size, void* output,
                        DWORD output_size, DWORD* returned, OVERLAPPED* overlapped);
    interface_set* find_set(HDEVINFO set) const;

    mutable std::mutex mutex;  // guards everything below and every device's queues
    std::vector<interface_entry> interfaces;
    std::vector<std::unique_ptr<interface_set>> sets;
    std::set<open_device*> devices;
    std::vector<std::string> violation_texts;
    std::map<std::uint32_t, int> request_counts;
};

}  // namespace qx::test
