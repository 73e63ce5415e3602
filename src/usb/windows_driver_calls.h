#pragma once
// The Windows calls through which the Cypress transport and enumeration
// reach the USB driver: opening the device, device I/O control requests and
// their overlapped completion, and the setup and configuration-manager
// functions that list the driver's device interfaces. In production they go
// to Windows; a test installs a simulated driver in their place. Events and
// waits stay the system's own: a simulated driver signals real events.

// clang-format off
#include <windows.h>
#include <setupapi.h>
#include <cfgmgr32.h>
// clang-format on

namespace qx::usb {

class windows_driver_calls {
  public:
    virtual ~windows_driver_calls() = default;

    virtual HANDLE create_file(const char* path, DWORD access, DWORD share_mode, DWORD creation,
                               DWORD flags) = 0;
    virtual BOOL close_device(HANDLE device) = 0;
    virtual BOOL device_io_control(HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                                   DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) = 0;
    virtual BOOL get_overlapped_result(HANDLE device, OVERLAPPED* overlapped, DWORD* transferred,
                                       BOOL wait) = 0;
    virtual BOOL cancel_io(HANDLE device, OVERLAPPED* overlapped) = 0;

    virtual HDEVINFO get_class_devs(const GUID* interface_class, DWORD flags) = 0;
    virtual BOOL enum_device_interfaces(HDEVINFO set, const GUID* interface_class, DWORD member_index,
                                        SP_DEVICE_INTERFACE_DATA* interface_data) = 0;
    virtual BOOL get_device_interface_detail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* interface_data,
                                             SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD detail_size,
                                             DWORD* required_size, SP_DEVINFO_DATA* device) = 0;
    virtual BOOL get_device_instance_id(HDEVINFO set, SP_DEVINFO_DATA* device, char* id, DWORD id_size) = 0;
    virtual BOOL destroy_device_info_list(HDEVINFO set) = 0;
    virtual CONFIGRET get_parent(DEVINST* parent, DEVINST device) = 0;
    virtual CONFIGRET get_device_id(DEVINST device, char* id, ULONG id_size) = 0;
};

// The calls in use: Windows itself unless a test has installed others.
windows_driver_calls& installed_windows_driver_calls();

// Puts `calls` in place of Windows for every transport opened and every
// enumeration run from now on; null puts Windows back. Transports already
// open keep the calls they were opened with.
void install_windows_driver_calls(windows_driver_calls* calls);

}  // namespace qx::usb
